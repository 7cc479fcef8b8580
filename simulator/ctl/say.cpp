// SPDX-License-Identifier: MIT
#include "ctl/say.h"

#include "common/control.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

static void print(const std::string &line)
{
    fwrite(line.data(), 1, line.size(), stdout);
    if (!line.empty() && line.back() != '\n')
        putchar('\n');
    // A reader at the other end of a pipe waits for it.
    fflush(stdout);
}

void say(const ctl_request &request, const std::string &text)
{
    if (!request.options.json)
        print(text);
}

int say_done(const ctl_request &request, json_object *done, const std::string &text)
{
    if (request.options.json)
        print(done == nullptr ? "{}" : json_text(done));
    else if (!text.empty())
        print(text);
    return ctl_done;
}

static int say_no(const ctl_request &request, const char *key, const std::string &sentence, int status)
{
    if (request.options.json)
        print(json_text(json_of(key, sentence).get()));
    else
        fprintf(stderr, "%s\n", sentence.c_str());
    return status;
}

int say_refused(const ctl_request &request, const std::string &sentence)
{
    return say_no(request, "refused", sentence, ctl_refused);
}

int say_could_not(const ctl_request &request, const std::string &sentence)
{
    return say_no(request, "failed", sentence, ctl_could_not);
}

bool say_whether_it_ran(const ctl_request &request, int &status)
{
    const place &where = request.where;
    if (access((where.run + "/journal").c_str(), F_OK) == 0)
        return true;
    status = say_could_not(request, "camera \"" + where.name + "\" has no log yet; ./camera run" +
                                        place_name_option(where.name) + " starts it");
    return false;
}

json_ptr command_of(const char *name)
{
    return json_of("do", name);
}

static constexpr char last_order[] = "last_order";

json_ptr order_camera(const ctl_request &request, const json_ptr &command, int &status, int patience_ms)
{
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(request.where.run + "/journal", error);
    if (!error)
        place_write(request.where, last_order, std::to_string(size));
    return ask_camera(request, command, status, patience_ms);
}

int64_t say_last_order(const place &where)
{
    return strtoll(place_read(where, last_order).c_str(), nullptr, 10);
}

json_object *json_member(const json_ptr &object, const char *key)
{
    json_object *found = nullptr;
    json_object_object_get_ex(object.get(), key, &found);
    return found;
}

json_ptr ask_quietly(const json_ptr &command)
{
    constexpr int patience_ms = 2000;
    control_link link;
    if (!control_connect(link))
        return nullptr;
    json_ptr answer(control_ask(link, command.get(), patience_ms));
    control_close(link);
    return answer;
}

json_ptr ask_camera(const ctl_request &request, const json_ptr &command, int &status, int patience_ms)
{
    const std::string &name = request.options.name;
    control_link link;
    if (!control_connect(link)) {
        const bool starting = place_is_running(request.where);
        const char *what =
            starting ? " does not listen yet; try again in a second" : " does not run; ./camera run --detach";
        status = say_could_not(request, "camera \"" + name + "\"" + what +
                                            (starting ? "" : place_name_option(name) + " starts it"));
        return nullptr;
    }
    const json_ptr answer(control_ask(link, command.get(), patience_ms));
    control_close(link);
    json_object *done = nullptr;
    if (json_object_object_get_ex(answer.get(), "done", &done))
        return json_ptr(json_object_get(done));
    if (answer)
        status = say_refused(request, json_get_text(answer.get(), "refused"));
    else
        status = say_could_not(request, "camera \"" + name + "\" did not answer; ./camera log" +
                                            place_name_option(name) + " shows what it did last");
    return nullptr;
}

int order_and_say(const ctl_request &request, const json_ptr &command, const std::string &text,
                  int patience_ms)
{
    int status = ctl_done;
    const json_ptr done = order_camera(request, command, status, patience_ms);
    return done ? say_done(request, done.get(), text) : status;
}
