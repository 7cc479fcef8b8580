// SPDX-License-Identifier: MIT
// The command runs in this process's own group, so that Ctrl-C at a terminal reaches it as if it ran alone;
// what is sent to this process only is passed on. The sandbox ends with this process, whatever ends that.
#include "ctl/with.h"

#include "common/host_time.h"
#include "ctl/execute.h"
#include "ctl/interrupts.h"
#include "ctl/preset.h"
#include "ctl/say.h"
#include "ctl/show.h"
#include "ctl/start.h"
#include "ctl/steer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

static constexpr int status_not_executed = 127;
static constexpr int status_of_signal = 128;

// A name of its own unless one was asked for, and folders that nobody else uses.
static bool find_own_place(ctl_request &own, std::string &reason)
{
    const std::vector<std::string> &given = own.options.options;
    if (std::find(given.begin(), given.end(), "--name") == given.end())
        own.options.name = "with-" + std::to_string(getpid());
    if (!place_find(own.options.name, "", own.where, reason))
        return false;
    own.where.state = own.where.run + ".state";
    own.options.fresh = true;
    setenv("CAMERA_RUN", own.where.run.c_str(), 1);
    setenv("CAMERA_NAME", own.where.name.c_str(), 1);
    setenv("CAMERA_STATE", own.where.state.c_str(), 1);
    setenv("CAMERA_PRESET", preset_of(own.where).c_str(), 1);
    return true;
}

// On the error channel: the other one is the command's.
static void say_with_whom(const ctl_request &own, const camera_start &start)
{
    if (!own.options.json) {
        fprintf(stderr, "camera \"%s\" is up, seed %s\n", own.where.name.c_str(), start.seed.c_str());
        return;
    }
    const json_ptr about = json_of("name", own.where.name);
    json_set_text(about.get(), "run", own.where.run);
    json_set_text(about.get(), "seed", start.seed);
    fprintf(stderr, "%s\n", json_text(about.get()).c_str());
}

static pid_t start_command(const std::vector<std::string> &line)
{
    const pid_t pid = interrupts_fork();
    if (pid != 0)
        return pid;
    execute(line);
    fprintf(stderr, "\"%s\" cannot be run: %s\n", line[0].c_str(), strerror(errno));
    _exit(status_not_executed);
}

// The command may stop the camera, and even start it again: then it runs beside this process.
static int run_command(const std::vector<std::string> &line, camera_start &start)
{
    const pid_t command = start_command(line);
    int status = -1;
    for (pid_t ended = 0; command > 0 && ended != command && ended >= 0;) {
        ended = interrupts_wait(status);
        if (ended != start.pid)
            continue;
        if (status != 0)
            fprintf(stderr, "the camera ended by itself\n");
        start_let_go(start);
    }
    return WIFSIGNALED(status) ? status_of_signal + WTERMSIG(status) : WEXITSTATUS(status);
}

static void end_camera(const place &where, camera_start &start)
{
    const int64_t deadline = host_time_ms() + start_longest_stop_ms;
    const int interrupts = interrupts_count();
    start_ask_stop();
    while (start.pid > 0) {
        if (interrupts_count() > interrupts || host_time_ms() > deadline)
            kill(start.pid, SIGKILL);
        if (waitpid(start.pid, nullptr, WNOHANG) != 0)
            start_let_go(start);
        usleep(5000);
    }
    if (place_is_running(where))
        steer_end_camera(where);
}

// true: a sanitizer has found something, which was shown.
static bool show_findings(const place &where)
{
    const std::vector<std::string> files = show_report_files(where);
    for (const std::string &file : files)
        fprintf(stderr, "a sanitizer found something:\n%s", place_read(where, file.c_str()).c_str());
    return !files.empty();
}

static void take_away(const place &where)
{
    std::error_code error;
    fs::remove_all(where.run, error);
    fs::remove_all(where.state, error);
}

int with_camera(const ctl_request &request)
{
    int status = ctl_done;
    std::string reason;
    ctl_request own = request;
    camera_start start;
    if (!preset_is_ours(request, status))
        return status;
    if (!find_own_place(own, reason))
        return say_could_not(request, reason);
    if (!start_camera(own, start, status)) {
        if (start.lock >= 0)
            take_away(own.where);
        return status;
    }
    setenv("CAMERA_SEED", start.seed.c_str(), 1);
    say_with_whom(own, start);
    status = run_command(own.arguments, start);
    end_camera(own.where, start);
    if (show_findings(own.where) && status == 0)
        status = ctl_refused;
    take_away(own.where);
    return status;
}
