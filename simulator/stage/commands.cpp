// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/control.h"
#include "common/json.h"
#include "common/nearest.h"

#include <algorithm>
#include <climits>

constexpr size_t longest_shown = 60; // of a name that is shown in a sentence

struct command_row {
    const char *name;
    command_function run;
    bool while_running; // refused while the camera starts, reboots or stops
};

// clang-format off
static constexpr command_row command_rows[] = {
    { "status",             command_status,        false },
    { "leds",               command_leds,          false },
    { "head",               command_head,          false },
    { "kill",               command_kill,          true  },
    { "restart",            command_restart,       true  },
    { "reboot",             command_reboot,        true  },
    { "stop",               command_stop,          false },
    { "bind",               command_bind,          true  },
    { "unbind",             command_unbind,        true  },
    { "key.press",          command_key_press,     false },
    { "key.release",        command_key_release,   false },
    { "key.hold",           command_key_hold,      false },
    { "card",               command_card,          false },
    { "rotate",             command_rotate,        true  },
    { "clock",              command_clock,         false },
    { "clock.step",         command_clock_step,    true  },
    { "serve",              command_serve,         false },
    { "clock.timer",        command_timer,         false },
    { "clock.wait",         command_clock_wait,    false },
    { "body.led",           command_led,           false },
    { "body.led_priority",  command_led_priority,  false },
    { "body.motor",         command_motor,         false },
    { "body.motor_running", command_motor_running, false },
    { "body.events",        command_events,        false },
};
// clang-format on

int command_number(json_object *arguments, const char *key, int otherwise)
{
    int64_t number = json_get_number(arguments, key, otherwise);
    return static_cast<int>(std::clamp<int64_t>(number, INT_MIN, INT_MAX));
}

static json_object *run_row(stage &stage, connection &client, const command_row &row, json_object *command)
{
    if (row.while_running && stage.phase != stage_phase::running) {
        return control_refused(std::string("the camera is ") + stage_phase_name(stage.phase) +
                               "; try again in a moment");
    }
    return row.run(stage, client, command);
}

// A command, or what a neighbour's commands begin with.
static std::vector<std::string> known_names(const stage &stage)
{
    std::vector<std::string> names;
    for (const command_row &row : command_rows)
        names.emplace_back(row.name);
    for (const program &program : stage.programs) {
        if (program.row->serves)
            names.push_back(program.row->name + std::string(".*"));
    }
    return names;
}

static json_object *refuse_unknown(const stage &stage, const std::string &name)
{
    const std::vector<std::string> names = known_names(stage);
    const std::string sentence = "there is no command \"" + name.substr(0, longest_shown) + "\"";
    std::string meant = did_you_mean(name, names);
    if (meant.empty())
        meant = did_you_mean(name.substr(0, name.find('.')) + ".*", names);
    if (!meant.empty())
        return control_refused(sentence + meant);
    std::string all;
    for (const std::string &known : names)
        all += (all.empty() ? "; there are: " : ", ") + known;
    return control_refused(sentence + all);
}

static json_object *refuse_absent(const program &program)
{
    std::string name = program.row->name;
    if (program.state == program_state::running)
        return control_refused("the " + name + " is starting; try again in a moment");
    return control_refused("the " + name + " is not running; ./camera status shows why");
}

json_object *commands_pass_on(stage &stage, connection &client, const std::string &name, json_object *command)
{
    json_set_text(command, "do", name);
    std::string neighbour = name.substr(0, name.find('.'));
    if (routing_forward(stage.control, stage.routes, neighbour, client, command))
        return nullptr;
    const program *program = stage_find_program(stage, neighbour);
    if (name == neighbour || program == nullptr || !program->row->serves)
        return refuse_unknown(stage, name);
    return refuse_absent(*program);
}

static json_object *run_command(stage &stage, connection &client, json_object *command)
{
    std::string name = json_get_text(command, "do");
    if (name.empty())
        return control_refused(R"(send one JSON object a line with the command's name in "do")");
    for (const command_row &row : command_rows) {
        if (name == row.name)
            return run_row(stage, client, row, command);
    }
    return commands_pass_on(stage, client, name, command);
}

void commands_take_line(stage &stage, connection &client, const std::string &line)
{
    json_ptr message = json_parse(line);
    if (!json_object_is_type(message.get(), json_type_object)) {
        server_send(client, control_refused("that line is no JSON object; send one JSON object a line"));
        return;
    }
    if (routing_is_service(stage.routes, client.id)) {
        routing_answer(stage.control, stage.routes, message.release());
        return;
    }
    json_object *answer = run_command(stage, client, message.get());
    if (answer != nullptr)
        server_send(client, answer);
}
