// SPDX-License-Identifier: MIT
#include "ctl/steer.h"

#include "common/host_time.h"
#include "ctl/execute.h"
#include "ctl/journal_reader.h"
#include "ctl/ready.h"
#include "ctl/say.h"
#include "ctl/show.h"

#include <csignal>
#include <cstdio>

// The order was given and did not help: the keeper's end takes everything with it.
static bool end_at_once(const place &where)
{
    constexpr int patience_ms = 3000;
    const json_ptr about = json_parse(place_read(where, "about"));
    const auto keeper = static_cast<pid_t>(json_get_number(about.get(), "keeper"));
    return keeper > 0 && place_is_running(where) && kill(keeper, SIGKILL) == 0 &&
           place_wait_stopped(where, patience_ms);
}

bool steer_end_camera(const place &where)
{
    constexpr int patience_ms = 10'000;
    ask_quietly(command_of("stop"));
    return place_wait_stopped(where, patience_ms) || end_at_once(where);
}

int stop_camera(const ctl_request &request)
{
    const place &where = request.where;
    if (!place_is_running(where))
        return say_could_not(request, "camera \"" + where.name + "\" does not run");
    if (!steer_end_camera(where))
        return say_could_not(request, "camera \"" + where.name + "\" does not end; its output is in " +
                                          where.run + "/output");
    const std::string reports = show_reports(where);
    if (!reports.empty())
        return say_refused(request, "stopped, but a sanitizer found something: " + reports);
    return say_done(request, nullptr,
                    "camera \"" + where.name + "\" has stopped; ./camera run" +
                        place_name_option(where.name) + " starts it again");
}

int kill_program(const ctl_request &request)
{
    const json_ptr command = command_of("kill");
    json_set_text(command.get(), "program", request.arguments[0]);
    int status = ctl_done;
    const json_ptr done = order_camera(request, command, status);
    if (!done)
        return status;
    return say_done(request, done.get(),
                    "the " + request.arguments[0] + " was killed; it is started again by itself");
}

int reboot_camera(const ctl_request &request)
{
    return order_and_say(request, command_of("reboot"), "the camera has rebooted, its programs run again");
}

// The new daemon has announced its methods.
static bool wait_for_daemon(journal_reader &journal)
{
    constexpr int patience_ms = 10'000;
    const int64_t deadline = host_time_ms() + patience_ms;
    readiness ready;
    while (!ready.daemon_serves && host_time_ms() < deadline) {
        const json_ptr entry = journal_reader_next(journal, 100);
        if (entry)
            ready_take(ready, entry.get());
    }
    return ready.daemon_serves;
}

int restart_daemon(const ctl_request &request)
{
    int status = ctl_done;
    if (!ask_camera(request, command_of("status"), status))
        return status;
    const int64_t started_ms = host_time_ms();
    const json_ptr about = json_parse(place_read(request.where, "about"));
    const std::string build = json_get_text(about.get(), "build", request.where.build);
    std::string words;
    if (execute_and_listen({ "cmake", "--build", build, "--target", "kivo_camwarden" }, words) != 0) {
        if (!request.options.json)
            fputs(words.c_str(), stderr);
        return say_refused(request, "the daemon does not build, so the running one was left alone");
    }
    const int64_t built_ms = host_time_ms();
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    const json_ptr command = command_of("restart");
    json_set_text(command.get(), "program", "daemon");
    const json_ptr done = order_camera(request, command, status);
    if (!done)
        return status;
    const bool serves = wait_for_daemon(journal);
    journal_reader_close(journal);
    if (!serves)
        return say_refused(request, "the new daemon has not announced its methods; ./camera log" +
                                        place_name_option(request.where.name) + " shows what it did");
    char text[128];
    snprintf(text, sizeof(text), "the daemon was built in %.1f s and replaced in %.1f s",
             static_cast<double>(built_ms - started_ms) / 1000,
             static_cast<double>(host_time_ms() - built_ms) / 1000);
    return say_done(request, done.get(), text);
}
