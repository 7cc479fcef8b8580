// SPDX-License-Identifier: MIT
#include "ctl/run.h"

#include "common/control.h"
#include "common/host_time.h"
#include "ctl/execute.h"
#include "ctl/journal_reader.h"
#include "ctl/ready.h"
#include "ctl/render.h"
#include "ctl/sandbox.h"
#include "ctl/say.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>

static constexpr int longest_start_ms = 20'000;
static constexpr int longest_stop_ms = 10'000;
static constexpr int look_ms = 100; // how often the sandbox is looked at while nothing is written

static constexpr int endings[] = { SIGINT, SIGTERM, SIGHUP };

static volatile sig_atomic_t interrupts;

static void on_interrupt(int)
{
    interrupts = interrupts + 1;
}

int check_system(const ctl_request &request)
{
    const std::string trouble = sandbox_trouble(request.where);
    if (!trouble.empty())
        return say_refused(request, trouble);
    return say_done(request, nullptr, "this system can run a camera");
}

int run_tests(const ctl_request &request)
{
    const std::string script = request.where.source + "/camera";
    std::vector<std::string> line = { script, "test" };
    line.insert(line.end(), request.arguments.begin(), request.arguments.end());
    if (request.options.json)
        line.emplace_back("--json");
    execute(line);
    return say_could_not(request, "cannot run " + script + ": " + strerror(errno));
}

// Makes the folders and takes the lock, which is returned; -1: what is in the way was said, status is the
// exit status.
static int prepare(const ctl_request &request, int &status)
{
    std::string reason;
    const place &where = request.where;
    if (!place_make_run(where, reason) || !place_make_state(where, reason)) {
        status = say_could_not(request, reason);
        return -1;
    }
    const int lock = place_lock(where);
    if (lock < 0) {
        status = say_refused(request, "camera \"" + where.name + "\" runs already; ./camera stop" +
                                          place_name_option(where.name) + " stops it");
        return -1;
    }
    reason = sandbox_trouble(where);
    if (!reason.empty()) {
        status = say_could_not(request, reason);
        close(lock);
        return -1;
    }
    place_clean_run(where);
    if (request.options.fresh)
        place_clean_state(where);
    return lock;
}

// What later commands need to know of this run; keeper: the process whose end is the camera's.
static void write_about(const ctl_request &request, pid_t keeper)
{
    const json_ptr about = json_of("build", request.where.build);
    json_set_text(about.get(), "source", request.where.source);
    json_set_text(about.get(), "state", request.where.state);
    json_set_number(about.get(), "keeper", keeper);
    json_object_object_add(about.get(), "unbound", json_object_new_boolean(request.options.unbound));
    place_write(request.where, "about", json_text(about.get()) + "\n");
}

static pid_t start_sandbox(const ctl_request &request)
{
    std::vector<std::string> arguments;
    if (request.options.unbound)
        arguments.emplace_back("--unbound");
    write_about(request, getpid());
    return sandbox_start(request.where, arguments);
}

static int wait_for(pid_t pid)
{
    int status = -1;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// Leaves a process behind that holds the lock and is the sandbox's parent; its end is the camera's.
static pid_t start_keeper(const ctl_request &request, int lock)
{
    constexpr int first_free = STDERR_FILENO + 1;
    const pid_t keeper = fork();
    if (keeper != 0)
        return keeper;
    setsid();
    for (const int signal : endings)
        std::signal(signal, SIG_DFL);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
        dup2(nothing, fd);
    // Nothing but the lock stays open for as long as the camera runs.
    if (lock != first_free)
        dup3(lock, first_free, O_CLOEXEC);
    close_range(first_free + 1, ~0U, 0);
    if (chdir("/") != 0)
        _exit(ctl_could_not);
    const pid_t sandbox = start_sandbox(request);
    _exit(sandbox > 0 && wait_for(sandbox) == 0 ? ctl_done : ctl_could_not);
}

// The process has ended; it is then reaped.
static bool is_over(pid_t pid)
{
    return pid <= 0 || waitpid(pid, nullptr, WNOHANG) == pid;
}

struct start_watch {
    readiness ready;
    bool over = false;            // the camera ended before it was up
    std::deque<std::string> last; // lines
};

// Follows the journal until the camera is up; false: it will not be.
static bool wait_until_up(pid_t pid, journal_reader &journal, start_watch &watch)
{
    constexpr size_t most_lines = 8;
    const int64_t deadline = host_time_ms() + longest_start_ms;
    while (!ready_is_up(watch.ready) && !watch.over && interrupts == 0 && host_time_ms() < deadline) {
        const json_ptr entry = journal_reader_next(journal, look_ms);
        if (!entry) {
            watch.over = is_over(pid);
            continue;
        }
        ready_take(watch.ready, entry.get());
        watch.last.push_back(render_entry(entry.get()));
        if (watch.last.size() > most_lines)
            watch.last.pop_front();
    }
    return ready_is_up(watch.ready);
}

static std::string last_lines(const std::string &text, int lines)
{
    size_t from = text.size();
    for (int i = 0; i <= lines && from != std::string::npos && from > 0; i++)
        from = text.rfind('\n', from - 1);
    return from == std::string::npos || from == 0 ? text : text.substr(from + 1);
}

static int say_not_up(const ctl_request &request, const start_watch &watch)
{
    std::string text;
    if (interrupts > 0)
        return say_could_not(request, "interrupted before the camera was up");
    for (const std::string &line : watch.last)
        text += line + "\n";
    text += last_lines(place_read(request.where, "output"), 8);
    if (!request.options.json)
        fputs(text.c_str(), stderr);
    const std::string why =
        watch.over ? "it ended, the lines above are its last" : ready_missing(watch.ready);
    return say_could_not(request, "the camera did not come up: " + why);
}

// The store knows the state folder by its name inside.
static std::string outside(const place &where, std::string sentence)
{
    const std::string inside = "/state/";
    const size_t at = sentence.find(inside);
    return at == std::string::npos ? sentence : sentence.replace(at, inside.size(), where.state + "/");
}

static int say_up(const ctl_request &request, const start_watch &watch, int64_t started_ms)
{
    const ctl_options &options = request.options;
    const std::string name = place_name_option(options.name);
    const std::string note = outside(request.where, watch.ready.damaged);
    const json_ptr done = json_of("name", options.name);
    json_set_text(done.get(), "state", request.where.state);
    json_set_text(done.get(), "run", request.where.run);
    json_set_text(done.get(), "note", note);
    json_object_object_add(done.get(), "bound", json_object_new_boolean(!options.unbound));

    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.1f s", static_cast<double>(host_time_ms() - started_ms) / 1000);
    std::string text = "camera \"" + options.name + "\" is up after " + seconds +
                       ": the daemon, its store and its cloud client, " +
                       (options.unbound ? "not bound\n" : "bound\n");
    if (!note.empty())
        text += "note    " + note + "\n";
    text += "try     ./camera call get_prop '[\"power\",\"light\"]'" + name + "\n";
    text += "        ./camera call set_power '[\"off\"]'" + name + "\n";
    text += "        ./camera log --follow" + name + "\n";
    text += "state   " + request.where.state + "\n";
    text += "stop    ./camera stop" + name + (options.detach ? "" : ", or Ctrl-C here");
    return say_done(request, done.get(), text);
}

static void ask_stop()
{
    control_link link;
    const json_ptr stop = command_of("stop");
    if (control_connect(link))
        control_send(link, stop.get());
    // The answer is the end of the sandbox, which is waited for.
    control_close(link);
}

// Shows the log until the camera has ended. A first Ctrl-C stops it in order, a second one at once.
static int stay(const ctl_request &request, pid_t sandbox, journal_reader &journal)
{
    int64_t deadline = INT64_MAX;
    int status = 0;
    while (waitpid(sandbox, &status, WNOHANG) != sandbox) {
        while (const json_ptr entry = journal_reader_next(journal, look_ms)) {
            puts(request.options.json ? json_text(entry.get()).c_str() : render_entry(entry.get()).c_str());
            fflush(stdout);
        }
        if (interrupts > 0 && deadline == INT64_MAX) {
            deadline = host_time_ms() + longest_stop_ms;
            ask_stop();
        }
        if (interrupts > 1 || host_time_ms() > deadline)
            kill(sandbox, SIGKILL);
    }
    if (status == 0)
        return ctl_done;
    fputs(last_lines(place_read(request.where, "output"), 8).c_str(), stderr);
    return say_could_not(request,
                         interrupts > 0 ? "the camera was ended at once" : "the camera ended by itself");
}

static void watch_for_interrupts()
{
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    for (const int signal : endings)
        sigaction(signal, &action, nullptr);
}

// Another preset's camera is started by that preset's tool.
static int run_preset(const ctl_request &request)
{
    const std::string tool = request.where.build + "/../" + request.options.preset + "/simulator/ctl";
    const ctl_options &options = request.options;
    std::vector<std::string> line = { tool, "run", "--name", options.name, "--state", request.where.state };
    for (const std::string &option : options.options) {
        if (option != "--name" && option != "--state" && option != "--preset")
            line.push_back(option);
    }
    execute(line);
    return say_could_not(request, "there is no build of the preset \"" + options.preset +
                                      "\"; ./camera run --preset " + options.preset + " makes it");
}

int run_camera(const ctl_request &request)
{
    if (!request.options.preset.empty() && !request.where.build.ends_with("/" + request.options.preset))
        return run_preset(request);
    const int64_t started_ms = host_time_ms();
    int status = ctl_done;
    const int lock = prepare(request, status);
    if (lock < 0)
        return status;
    watch_for_interrupts();
    journal_reader journal;
    start_watch watch;
    watch.ready.wants_binding = !request.options.unbound;
    journal_reader_open(journal, request.where.run, false);

    const bool detach = request.options.detach;
    const pid_t pid = detach ? start_keeper(request, lock) : start_sandbox(request);
    if (detach)
        close(lock); // the keeper has it
    if (!wait_until_up(pid, journal, watch)) {
        status = say_not_up(request, watch);
        if (pid > 0 && !watch.over && kill(pid, SIGKILL) == 0)
            wait_for(pid);
        return status;
    }
    status = say_up(request, watch, started_ms);
    return detach ? status : stay(request, pid, journal);
}
