// SPDX-License-Identifier: MIT
#include "ctl/switches.h"

#include "common/nearest.h"
#include "ctl/say.h"

struct switch_row {
    const char *command;
    const char *word;
    const char *line; // to the camera
    const char *text; // to the person
};

// clang-format off
static constexpr switch_row rows[] = {
    { "track",  "on",  R"({"do":"store.set","space":"mem","key":"track_switch","value":"on"})",   "tracking is on: the head follows ./camera rotate" },
    { "track",  "off", R"({"do":"store.set","space":"mem","key":"track_switch","value":"off"})",  "tracking is off" },
    { "update", "on",  R"({"do":"store.set","space":"mem","key":"dev_status","value":"ota"})",    "a firmware update is running" },
    { "update", "off", R"({"do":"store.set","space":"mem","key":"dev_status","value":"normal"})", "no firmware update is running" },
    { "card",   "in",  R"({"do":"card","state":"in"})",                                           "the memory card is in" },
    { "card",   "out", R"({"do":"card","state":"out"})",                                          "the memory card is out" },
};
// clang-format on

static int turn(const ctl_request &request, const std::string &command)
{
    std::vector<std::string> words;
    for (const switch_row &row : rows) {
        if (command != row.command)
            continue;
        if (request.arguments[0] == row.word)
            return order_and_say(request, json_parse(row.line), row.text);
        words.emplace_back(row.word);
    }
    return say_could_not(request, "\"" + command + "\" wants " + one_of(words) + ", not \"" +
                                      request.arguments[0] + "\"");
}

int switch_track(const ctl_request &request)
{
    return turn(request, "track");
}

int switch_update(const ctl_request &request)
{
    return turn(request, "update");
}

int switch_card(const ctl_request &request)
{
    return turn(request, "card");
}

int set_network(const ctl_request &request)
{
    const json_ptr command = command_of("cloud.net");
    json_set_text(command.get(), "status", request.arguments[0]);
    return order_and_say(request, command, "the network is " + request.arguments[0]);
}

int bind_camera(const ctl_request &request)
{
    const json_ptr command = command_of("bind");
    const std::string result = request.arguments.empty() ? "ok" : request.arguments[0];
    json_set_text(command.get(), "result", result);
    return order_and_say(request, command,
                         "the daemon was told that the binding ended with \"" + result + "\"");
}

// First of all the cloud client leaves it so.
int unbind_camera(const ctl_request &request)
{
    int status = ctl_done;
    if (!order_camera(request, command_of("unbind"), status))
        return status;
    const json_ptr unset = command_of("store.unset");
    json_set_text(unset.get(), "space", "nvram");
    json_set_text(unset.get(), "key", "bind_status");
    const json_ptr done = ask_camera(request, unset, status); // still the same order
    return done ? say_done(request, done.get(), "the camera is bound to nobody; ./camera bind binds it")
                : status;
}

int rotate_head(const ctl_request &request)
{
    const json_ptr command = command_of("rotate");
    json_set_text(command.get(), "text", request.arguments[0]);
    int status = ctl_done;
    const json_ptr done = order_camera(request, command, status);
    if (!done)
        return status;
    return say_done(request, done.get(),
                    json_get_bool(done.get(), "taken")
                        ? "the daemon has taken it"
                        : "posted; the daemon takes it when the head has come to rest");
}
