// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/json.h"
#include "common/nearest.h"

#include <csignal>
#include <cstring>

constexpr int64_t ns_per_ms = 1'000'000;

static const char *state_name(program_state state)
{
    switch (state) {
    case program_state::stopped:
        return "stopped";
    case program_state::running:
    case program_state::ending:
        return "running";
    case program_state::waiting:
        return "waiting";
    }
    return "";
}

static json_object *describe(const stage &stage, const program &program)
{
    json_object *about = json_object_new_object();
    json_set_text(about, "name", program.row->name);
    json_set_text(about, "state", state_name(program.state));
    if (program.pid > 0)
        json_set_number(about, "pid", program.pid);
    json_set_number(about, "restarts", program.restarts);
    if (program.state == program_state::waiting)
        json_set_number(about, "due_ms", program.due_ns / ns_per_ms);
    if (!program.last_end.empty())
        json_set_text(about, "last_end", program.last_end);
    if (program.row->serves)
        json_object_object_add(about, "serving",
                               json_object_new_boolean(stage.routes.services.contains(program.row->name)));
    return about;
}

json_object *command_status(stage &stage, connection &, json_object *)
{
    int64_t now_ns = clock_monotonic_ns();
    json_object *programs = json_object_new_array();
    for (const program &program : stage.programs)
        json_object_array_add(programs, describe(stage, program));
    json_object *status = json_object_new_object();
    json_set_text(status, "phase", stage_phase_name(stage.phase));
    json_set_number(status, "ms", now_ns / ns_per_ms);
    json_set_number(status, "up_ms", (now_ns - stage.up_since_ns) / ns_per_ms);
    json_set_number(status, "boots", stage.boots);
    json_object_object_add(status, "programs", programs);
    return control_done(status);
}

// NULL: there is no such program; refusal then says so.
static program *named_program(stage &stage, json_object *arguments, json_object *&refusal)
{
    std::string name = json_get_text(arguments, "program");
    program *found = stage_find_program(stage, name);
    if (found != nullptr)
        return found;
    std::vector<std::string> names;
    for (const program &program : stage.programs)
        names.emplace_back(program.row->name);
    refusal =
        control_refused("\"" + name.substr(0, 60) + "\" is no program of the camera; name " + one_of(names));
    return nullptr;
}

json_object *command_kill(stage &stage, connection &client, json_object *arguments)
{
    json_object *refusal = nullptr;
    program *program = named_program(stage, arguments, refusal);
    if (program == nullptr)
        return refusal;
    if (program->pid < 0) {
        return control_refused(std::string("the ") + program->row->name +
                               " is not running; ./camera status shows why");
    }
    kill(program->pid, SIGKILL);
    stage_await(stage, client, stage_event::program_ended, program->row->name);
    return nullptr;
}

json_object *command_restart(stage &stage, connection &client, json_object *arguments)
{
    json_object *refusal = nullptr;
    program *program = named_program(stage, arguments, refusal);
    if (program == nullptr)
        return refusal;
    program_end(*program, program->row->end_signal, program->row->grace_ms, true);
    if (program->state == program_state::ending)
        stage_await(stage, client, stage_event::program_started, program->row->name);
    return client.awaiting ? nullptr : control_done(nullptr);
}

json_object *command_stop(stage &stage, connection &client, json_object *)
{
    client.awaiting = true;
    stage.stoppers.push_back(client.id);
    stage_stop(stage);
    return nullptr;
}

json_object *command_reboot(stage &stage, connection &client, json_object *)
{
    stage_await(stage, client, stage_event::camera_up, "");
    stage_reboot(stage);
    return nullptr;
}

// Whether the cloud client binds a camera by itself, in its next lives too.
static void let_bind(stage &stage, bool binds)
{
    static const char unbound[] = "--unbound";
    program *cloud = stage_find_program(stage, "cloud");
    if (cloud == nullptr)
        return;
    std::erase_if(cloud->options, [](const char *option) { return strcmp(option, unbound) == 0; });
    if (!binds)
        cloud->options.push_back(unbound);
}

json_object *command_bind(stage &stage, connection &client, json_object *arguments)
{
    let_bind(stage, true);
    return commands_pass_on(stage, client, "cloud.bind", arguments);
}

json_object *command_unbind(stage &stage, connection &client, json_object *arguments)
{
    let_bind(stage, false);
    return commands_pass_on(stage, client, "cloud.unbind", arguments);
}

json_object *command_serve(stage &stage, connection &client, json_object *arguments)
{
    std::string name = json_get_text(arguments, "name");
    const program *program = stage_find_program(stage, name);
    if (program == nullptr || !program->row->serves)
        return control_refused("\"" + name.substr(0, 60) + "\" is no neighbour that answers commands");
    // The answer goes first: from now on every line to the neighbour is a command.
    server_send(client, control_done(nullptr));
    routing_serve(stage.control, stage.routes, name, client.id);
    if (name == "store")
        card_tell(stage);
    return nullptr;
}
