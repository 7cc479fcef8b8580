// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "common/nearest.h"
#include "ctl/body.h"
#include "ctl/inside.h"
#include "ctl/prompts.h"
#include "ctl/property.h"
#include "ctl/run.h"
#include "ctl/say.h"
#include "ctl/show.h"
#include "ctl/steer.h"
#include "ctl/store.h"
#include "ctl/switches.h"
#include "ctl/talk.h"
#include "ctl/wait.h"
#include "ctl/with.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

static constexpr size_t help_column = 34;

static int help(const ctl_request &request);

// clang-format off
static constexpr ctl_command table[] = {
    { "run",            "",                     0, 0, "--detach --state --fresh --unbound --seed --speaker --preset", "start a camera and show what happens in it",              run_camera     },
    { "with",           "-- COMMAND...",        1, any_number, "--unbound --seed --preset", "run a command with a fresh camera, which is gone afterwards", with_camera  },
    { "stop",           "",                     0, 0, "",         "stop the camera; its settings stay",                       stop_camera    },
    { "status",         "",                     0, 0, "",         "what runs, the network, the binding, where the state is",  show_status    },
    { "call",           "METHOD [PARAMS]",      1, 2, "",         "send a request as the cloud would, show what follows",     call_method    },
    { "log",            "",                     0, 0, "--follow", "what has happened so far",                                 show_log       },
    { "stats",          "",                     0, 0, "--follow", "the statistics objects that the daemon has reported",      show_statistics },
    { "wait",           "WHAT",                 1, any_number, "--within --since", "wait until it has come, in the camera's own time",    wait_command, wait_help },
    { "leds",           "",                     0, 0, "",         "what the two status LEDs show",                            show_leds      },
    { "head",           "",                     0, 0, "",         "where the head points",                                    show_head      },
    { "prompts",        "",                     0, 0, "",         "which voice prompts were played, when, and whether muted", show_prompts   },
    { "play",           "PROMPT",               1, 1, "",         "have a prompt played, as another program of the camera would", play_prompt },
    { "key press",      "",                     0, 0, "",         "press the reset key",                                      press_key      },
    { "key release",    "",                     0, 0, "",         "let go of it",                                             release_key    },
    { "key hold",       "TIME",                 1, 1, "",         "press it, and let go of it after so long: 2s",             hold_key       },
    { "card",           "in|out",               1, 1, "",         "put the memory card in, or take it out",                   switch_card    },
    { "track",          "on|off",               1, 1, "",         "let the head follow what moves, or not",                   switch_track   },
    { "rotate",         "'[H,V,0]'|stop",       1, 1, "",         "turn the head by degrees, as a program that tracks would", rotate_head    },
    { "net",            "STATUS",               1, 1, "",         "what the cloud client says of the network: cloud_connected", set_network  },
    { "bind",           "[ok|fail]",            0, 1, "",         "bind the camera to an account, or fail to",                bind_camera    },
    { "unbind",         "",                     0, 0, "",         "bind it to nobody",                                        unbind_camera  },
    { "update",         "on|off",               1, 1, "",         "let a firmware update run, or be over",                    switch_update  },
    { "clock",          "[+TIME]",              0, 1, "",         "the camera's time; or step it ahead, tick by tick: +30m",  show_or_step_clock },
    { "store get",      "[nvram|mem] KEY",      1, 2, "",         "one value of the store",                                   store_get      },
    { "store set",      "[nvram|mem] KEY VALUE", 2, 3, "--number", "write a value, as another program of the camera would",   store_set      },
    { "store unset",    "[nvram|mem] KEY",      1, 2, "",         "remove a value",                                           store_unset    },
    { "store list",     "[nvram|mem]",          0, 1, "",         "all values",                                               store_list     },
    { "store watch",    "[KEY]",                0, 1, "",         "changes of the store as they happen, until Ctrl-C",        store_watch    },
    { "prop list",      "",                     0, 0, "",         "all properties of the camera, as the cloud reads them",    prop_list      },
    { "prop get",       "PROPERTY...",          1, 64, "",        "read properties, by name or number",                       prop_get       },
    { "prop set",       "PROPERTY VALUE...",    2, 64, "",        "set properties; quotes in a text: 'the \"blue\" door'",      prop_set       },
    { "prop copy",      "",                     0, 0, "",         "what the cloud believes without asking",                   prop_copy      },
    { "prop keep",      "PROPERTY VALUE...",    2, 64, "",        "change what the cloud believes, for the next pull",        prop_keep      },
    { "prop pull",      "",                     0, 0, "",         "let the daemon fetch the cloud's values",                  prop_pull      },
    { "prop check",     "",                     0, 0, "",         "whether each property is reported as it is read",          prop_check     },
    { "kill",           "daemon|store|cloud|player", 1, 1, "",    "end a program at once, as a crash would; it starts again", kill_program   },
    { "reboot",         "",                     0, 0, "",         "reboot the camera: mem is lost, nvram stays",              reboot_camera  },
    { "restart daemon", "",                     0, 0, "",         "build the daemon and replace it, leave the others alone",  restart_daemon },
    { "gdb",            "[-- GDB_ARGUMENTS...]", 0, any_number, "",   "hold the daemon in a debugger; the camera's clock waits",  attach_gdb     },
    { "shell",          "[-- COMMAND...]",      0, any_number, "",   "a shell inside the camera's sandbox",                      open_shell     },
    { "check",          "",                     0, 0, "",         "whether this system can run a camera",                     check_system   },
    { "test",           "[NAME]",               0, 1, "--target --planted", "build and run the tests, all or those whose name matches", run_tests      },
    { "help",           "[COMMAND]",            0, 2, "",         "this, or more about a command",                            help           },
};
// clang-format on

std::span<const ctl_command> commands_table()
{
    return table;
}

static std::vector<std::string> names()
{
    std::vector<std::string> all;
    for (const ctl_command &row : table)
        all.emplace_back(row.name);
    return all;
}

static std::vector<std::string> split(const std::string &text)
{
    std::vector<std::string> words;
    std::stringstream stream(text);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

// "store" of "store get", when that is what the words begin with but do not finish.
static std::string begun(const std::string &word)
{
    std::vector<std::string> ways;
    for (const ctl_command &row : table) {
        const std::vector<std::string> parts = split(row.name);
        if (parts.size() == 2 && parts[0] == word)
            ways.push_back(parts[1]);
    }
    return one_of(ways);
}

static std::string unknown_command(const std::vector<std::string> &words)
{
    const std::string ways = begun(words[0]);
    const std::string both = words.size() > 1 ? words[0] + " " + words[1] : words[0];
    if (!ways.empty() && words.size() == 1)
        return "\"" + words[0] + "\" wants " + ways + " after it";
    if (!ways.empty())
        return "there is no command \"" + both + "\"; after \"" + words[0] + "\" comes " + ways;
    const std::string guess = did_you_mean(words[0], names());
    return "there is no command \"" + words[0] + "\"" +
           (guess.empty() ? "; ./camera help lists them" : guess);
}

const ctl_command *commands_find(const std::vector<std::string> &words, size_t &used, std::string &reason)
{
    for (const ctl_command &row : table) {
        const std::vector<std::string> parts = split(row.name);
        const bool all =
            words.size() >= parts.size() && std::equal(parts.begin(), parts.end(), words.begin());
        if (!all)
            continue;
        used = parts.size();
        return &row;
    }
    reason = unknown_command(words);
    return nullptr;
}

std::string commands_usage(const ctl_command &command)
{
    const std::string usage = std::string("./camera ") + command.name;
    return command.arguments[0] == '\0' ? usage : usage + " " + command.arguments;
}

static constexpr char common_options[] = "--name --json --help";

static bool is_among(const std::string &option, const std::string &options)
{
    const std::vector<std::string> all = split(options);
    return std::find(all.begin(), all.end(), option) != all.end();
}

static bool takes(const ctl_command &command, const std::string &option)
{
    return is_among(option, common_options) || is_among(option, command.options);
}

std::string commands_check(const ctl_command &command, const ctl_request &request)
{
    const std::string name = std::string("\"") + command.name + "\"";
    const std::string usage = commands_usage(command);
    const std::vector<std::string> &options = request.options.options;
    const auto not_taken = std::find_if_not(
        options.begin(), options.end(), [&](const std::string &option) { return takes(command, option); });
    const size_t count = request.arguments.size();
    if (not_taken != options.end())
        return name + " takes no option " + *not_taken + "; " + usage + " --help says more";
    if (count < command.least)
        return name + " wants more: " + usage;
    if (count > command.most)
        return name + " cannot take \"" + request.arguments[command.most] +
               "\" (a text with blanks wants quotes): " + usage;
    return "";
}

static std::string padded(const std::string &text, size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text + "  ";
}

static std::string option_line(const option_row &row)
{
    const std::string left =
        std::string(row.name) + (row.argument == nullptr ? "" : std::string(" ") + row.argument);
    return "  " + padded(left, help_column) + row.help + "\n";
}

static std::string command_line(const ctl_command &row)
{
    const std::string left = commands_usage(row).substr(std::string("./camera ").size());
    return "  " + padded(left, help_column) + row.help + "\n";
}

std::string commands_help()
{
    std::string text = "A virtual camera: the real daemon among stand-ins for all that surrounds it.\n\n"
                       "./camera COMMAND [ARGUMENTS] [OPTIONS]\n\n";
    for (const ctl_command &row : table)
        text += command_line(row);
    text += "\nOptions of every command (COMMAND --help shows those of its own):\n";
    for (const option_row &row : options_table()) {
        if (is_among(row.name, common_options))
            text += option_line(row);
    }
    return text + "\nExit status: 0 done, 1 refused, 2 could not try.\n";
}

std::string commands_help_for(const ctl_command &command)
{
    std::string text = commands_usage(command) + " [OPTIONS]\n  " + command.help + "\n\n";
    for (const option_row &row : options_table()) {
        if (takes(command, row.name))
            text += option_line(row);
    }
    return command.more == nullptr ? text : text + "\n" + command.more();
}

static json_object *describe(const ctl_command &row)
{
    json_ptr entry = json_of("command", row.name);
    json_set_text(entry.get(), "arguments", row.arguments);
    json_set_text(entry.get(), "help", row.help);
    return entry.release();
}

// The commands that the words name: "store get" one, "store" all that begin so, no words all.
static std::vector<const ctl_command *> named(const std::vector<std::string> &words)
{
    std::string wanted;
    for (const std::string &word : words)
        wanted += word + " ";
    std::vector<const ctl_command *> rows;
    for (const ctl_command &row : table) {
        if ((std::string(row.name) + " ").starts_with(wanted))
            rows.push_back(&row);
    }
    return rows;
}

static int help(const ctl_request &request)
{
    const std::vector<const ctl_command *> about = named(request.arguments);
    if (about.empty())
        return say_could_not(request, unknown_command(request.arguments));
    std::string text;
    json_object *rows = json_object_new_array();
    for (const ctl_command *row : about) {
        json_object_array_add(rows, describe(*row));
        text += command_line(*row);
    }
    const json_ptr done(json_object_new_object());
    json_object_object_add(done.get(), "commands", rows);
    if (request.arguments.empty())
        text = commands_help();
    if (about.size() == 1)
        text = commands_help_for(*about[0]);
    return say_done(request, done.get(), text);
}

int commands_run(const std::vector<std::string> &line)
{
    ctl_request request;
    std::string reason;
    size_t used = 0;
    request.line = line;
    request.options.name = place_default_name();
    const bool read = options_parse(line, request.options, reason);
    if (!read)
        return say_could_not(request, reason);
    if (request.options.words.empty())
        return help(request);
    const ctl_command *command = commands_find(request.options.words, used, reason);
    if (request.options.help) {
        request.arguments.assign(request.options.words.begin(),
                                 request.options.words.begin() +
                                     (command == nullptr ? 1 : static_cast<std::ptrdiff_t>(used)));
        return help(request);
    }
    if (command == nullptr)
        return say_could_not(request, reason);
    request.arguments.assign(request.options.words.begin() + static_cast<std::ptrdiff_t>(used),
                             request.options.words.end());
    reason = commands_check(*command, request);
    if (!reason.empty())
        return say_could_not(request, reason);
    if (!place_find(request.options.name, request.options.state, request.where, reason))
        return say_could_not(request, reason);
    // The control socket is looked for in there.
    setenv("CAMERA_RUN", request.where.run.c_str(), 1);
    return command->run(request);
}
