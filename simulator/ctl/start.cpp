// SPDX-License-Identifier: MIT
#include "ctl/start.h"

#include "common/control.h"
#include "common/host_time.h"
#include "ctl/interrupts.h"
#include "ctl/render.h"
#include "ctl/sandbox.h"
#include "ctl/say.h"
#include "ctl/speaker.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

static constexpr int longest_start_ms = 20'000;
static constexpr int look_ms = 100; // how often the sandbox is looked at while nothing is written

// Short enough to be typed again.
static std::string fresh_seed()
{
    uint32_t seed = 0;
    if (getrandom(&seed, sizeof seed, 0) != static_cast<ssize_t>(sizeof seed))
        seed = static_cast<uint32_t>(host_time_ns(CLOCK_REALTIME));
    return std::to_string(seed);
}

static bool choose_seed(const ctl_request &request, camera_start &start, int &status)
{
    const char *usual = getenv("CAMERA_SEED"); // of the camera that "with" has started
    const std::string given = request.options.seed.empty() && usual != nullptr ? usual : request.options.seed;
    start.seed = given.empty() ? fresh_seed() : given;
    if (start.seed.size() <= 18 && start.seed.find_first_not_of("0123456789") == std::string::npos)
        return true;
    status = say_could_not(request, "\"" + given + "\" is no seed; take a number of at most 18 digits");
    return false;
}

// Makes the folders and takes the lock.
static bool prepare(const ctl_request &request, camera_start &start, int &status)
{
    std::string reason;
    const place &where = request.where;
    if (!place_make_run(where, reason) || !place_make_state(where, reason)) {
        status = say_could_not(request, reason);
        return false;
    }
    start.lock = place_lock(where);
    if (start.lock < 0) {
        status = say_refused(request, "camera \"" + where.name + "\" runs already; ./camera stop" +
                                          place_name_option(where.name) + " stops it");
        return false;
    }
    reason = sandbox_trouble(where);
    if (reason.empty() && request.options.speaker)
        reason = speaker_trouble();
    if (!reason.empty()) {
        status = say_could_not(request, reason);
        close(start.lock);
        return false;
    }
    place_clean_run(where);
    if (request.options.fresh)
        place_clean_state(where);
    return true;
}

// What later commands need to know of this run; keeper: the process whose end is the camera's.
static void write_about(const ctl_request &request, const std::string &seed, pid_t keeper)
{
    const json_ptr about = json_of("build", request.where.build);
    json_set_text(about.get(), "source", request.where.source);
    json_set_text(about.get(), "state", request.where.state);
    json_set_text(about.get(), "seed", seed);
    json_set_number(about.get(), "keeper", keeper);
    json_object_object_add(about.get(), "unbound", json_object_new_boolean(request.options.unbound));
    place_write(request.where, "about", json_text(about.get()) + "\n");
}

static pid_t start_sandbox(const ctl_request &request, const std::string &seed)
{
    std::vector<std::string> arguments = { "--seed=" + seed };
    if (request.options.unbound)
        arguments.emplace_back("--unbound");
    if (request.options.speaker)
        arguments.emplace_back("--speaker");
    write_about(request, seed, getpid());
    const pid_t sandbox = sandbox_start(request.where, arguments);
    if (sandbox > 0 && request.options.speaker)
        speaker_start(request.where);
    return sandbox;
}

static int wait_for(pid_t pid)
{
    int status = -1;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// Leaves a process behind that holds the lock and is the sandbox's parent; its end is the camera's.
static pid_t start_keeper(const ctl_request &request, const camera_start &start)
{
    constexpr int first_free = STDERR_FILENO + 1;
    const pid_t keeper = fork();
    if (keeper != 0)
        return keeper;
    setsid();
    interrupts_release();
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
        dup2(nothing, fd);
    // Nothing but the lock stays open for as long as the camera runs.
    if (start.lock != first_free)
        dup3(start.lock, first_free, O_CLOEXEC);
    close_range(first_free + 1, ~0U, 0);
    if (chdir("/") != 0)
        _exit(ctl_could_not);
    const pid_t sandbox = start_sandbox(request, start.seed);
    _exit(sandbox > 0 && wait_for(sandbox) == 0 ? ctl_done : ctl_could_not);
}

// The process has ended; it is then reaped.
static bool is_over(pid_t pid)
{
    return pid <= 0 || waitpid(pid, nullptr, WNOHANG) == pid;
}

// Follows the journal until the camera is up; false: it will not be.
static bool wait_until_up(camera_start &start)
{
    constexpr size_t most_lines = 8;
    const int64_t deadline = host_time_ms() + longest_start_ms;
    while (!ready_is_up(start.ready) && !start.over && interrupts_count() == 0 && host_time_ms() < deadline) {
        const json_ptr entry = journal_reader_next(start.journal, look_ms);
        if (!entry) {
            start.over = is_over(start.pid);
            continue;
        }
        ready_take(start.ready, entry.get());
        start.last.push_back(render_entry(entry.get()));
        if (start.last.size() > most_lines)
            start.last.pop_front();
    }
    return ready_is_up(start.ready);
}

static std::string last_lines(const std::string &text, int lines)
{
    size_t from = text.size();
    for (int i = 0; i <= lines && from != std::string::npos && from > 0; i++)
        from = text.rfind('\n', from - 1);
    return from == std::string::npos || from == 0 ? text : text.substr(from + 1);
}

std::string start_last_output(const place &where)
{
    return last_lines(place_read(where, "output"), 8);
}

static int say_not_up(const ctl_request &request, const camera_start &start)
{
    std::string text;
    if (interrupts_count() > 0)
        return say_could_not(request, "interrupted before the camera was up");
    for (const std::string &line : start.last)
        text += line + "\n";
    text += start_last_output(request.where);
    if (!request.options.json)
        fputs(text.c_str(), stderr);
    const std::string why =
        start.over ? "it ended, the lines above are its last" : ready_missing(start.ready);
    return say_could_not(request, "the camera did not come up: " + why);
}

bool start_camera(const ctl_request &request, camera_start &start, int &status)
{
    start.began_ms = host_time_ms();
    if (!choose_seed(request, start, status) || !prepare(request, start, status))
        return false;
    interrupts_watch();
    start.ready.wants_binding = !request.options.unbound;
    journal_reader_open(start.journal, request.where.run, false);
    if (request.options.detach) {
        start.pid = start_keeper(request, start);
        close(start.lock);
        start.lock = -1;
    } else {
        start.pid = start_sandbox(request, start.seed);
    }
    if (wait_until_up(start))
        return true;
    status = say_not_up(request, start);
    if (start.pid > 0 && !start.over && kill(start.pid, SIGKILL) == 0)
        wait_for(start.pid);
    return false;
}

void start_let_go(camera_start &start)
{
    start.pid = -1;
    if (start.lock >= 0)
        close(start.lock);
    start.lock = -1;
}

void start_ask_stop(void)
{
    control_link link;
    const json_ptr stop = command_of("stop");
    if (control_connect(link))
        control_send(link, stop.get());
    // The answer is the end of the sandbox, which is waited for.
    control_close(link);
}
