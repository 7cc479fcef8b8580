// SPDX-License-Identifier: MIT
#include "ctl/store.h"

#include "ctl/journal_reader.h"
#include "ctl/render.h"
#include "ctl/say.h"

#include <cstdio>

static constexpr const char *spaces[] = { "nvram", "mem" };

// The command with its space and key; nvram is meant where no space stands before the key.
static json_ptr command_with_key(const ctl_request &request, const char *name, size_t without_space)
{
    const bool given = request.arguments.size() > without_space;
    json_ptr command = command_of(name);
    json_set_text(command.get(), "space", given ? request.arguments[0] : spaces[0]);
    json_set_text(command.get(), "key", request.arguments[given ? 1 : 0]);
    return command;
}

// Where else the key has a value, for who did not think of the other space.
static std::string elsewhere(const json_ptr &command)
{
    const std::string own = json_get_text(command.get(), "space");
    const std::string key = json_get_text(command.get(), "key");
    for (const char *space : spaces) {
        json_set_text(command.get(), "space", space);
        if (own != space && json_member(ask_quietly(command), "done") != nullptr)
            return std::string("; ./camera store get ") + space + " " + key + " has one";
    }
    return "";
}

int store_get(const ctl_request &request)
{
    const json_ptr command = command_with_key(request, "store.get", 1);
    json_ptr answer = ask_quietly(command);
    if (json_member(answer, "refused") != nullptr)
        return say_refused(request, json_get_text(answer.get(), "refused") + elsewhere(command));
    int status = ctl_done;
    const json_ptr done = answer ? json_ptr(json_object_get(json_member(answer, "done")))
                                 : ask_camera(request, command, status);
    if (!done)
        return status;
    return say_done(request, done.get(), json_get_text(done.get(), "value") + "\n");
}

int store_set(const ctl_request &request)
{
    constexpr int number_type = 5;
    const json_ptr command = command_with_key(request, "store.set", 2);
    json_set_text(command.get(), "value", request.arguments.back());
    if (request.options.number)
        json_set_number(command.get(), "type", number_type);
    return order_and_say(request, command, "");
}

int store_unset(const ctl_request &request)
{
    return order_and_say(request, command_with_key(request, "store.unset", 1), "");
}

int store_list(const ctl_request &request)
{
    const json_ptr command = command_of("store.list");
    if (!request.arguments.empty())
        json_set_text(command.get(), "space", request.arguments[0]);
    int status = ctl_done;
    const json_ptr done = ask_camera(request, command, status);
    if (!done)
        return status;
    std::string text;
    json_object *keys = json_member(done, "keys");
    for (size_t i = 0; keys != nullptr && i < json_object_array_length(keys); i++) {
        json_object *entry = json_object_array_get_idx(keys, i);
        char line[64];
        snprintf(line, sizeof(line), "%-6s %-32.32s ", json_get_text(entry, "space").c_str(),
                 json_get_text(entry, "key").c_str());
        text += line + json_get_text(entry, "value") + "\n";
    }
    return say_done(request, done.get(), text);
}

static bool is_watched(const ctl_request &request, json_object *entry)
{
    const std::string what = json_get_text(entry, "what");
    if (json_get_text(entry, "who") != "store" || (what != "set" && what != "unset" && what != "reset"))
        return false;
    return request.arguments.empty() || what == "reset" ||
           json_get_text(entry, "key") == request.arguments[0];
}

int store_watch(const ctl_request &request)
{
    constexpr int look_ms = 500;
    int status = ctl_done;
    // Says so when there is no camera to watch.
    if (!ask_camera(request, command_of("status"), status))
        return status;
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    while (place_is_running(request.where)) {
        const json_ptr entry = journal_reader_next(journal, look_ms);
        if (!entry || !is_watched(request, entry.get()))
            continue;
        puts(request.options.json ? json_text(entry.get()).c_str() : render_entry(entry.get()).c_str());
        fflush(stdout);
    }
    journal_reader_close(journal);
    return ctl_done;
}
