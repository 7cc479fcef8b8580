// SPDX-License-Identifier: MIT
#include "stage/program.h"

#include "common/clock.h"
#include "common/host_time.h"
#include "common/journal.h"
#include "common/json.h"
#include "stage/restart.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>

constexpr int64_t ns_per_ms = 1'000'000;
constexpr int longest_wait_ms = 1000;
constexpr int status_not_executed = 127;

static std::vector<char *> command_of(const program &program)
{
    std::vector<char *> words;
    for (const char *const *word = program.row->command; *word != nullptr; word++)
        words.push_back(const_cast<char *>(*word));
    for (const char *option : program.options)
        words.push_back(const_cast<char *>(option));
    words.push_back(nullptr);
    return words;
}

// Each life has numbers of its own: a daemon that comes back does not repeat the request ids of the last one.
static std::string seed_entry(const program &program)
{
    return "CAMERA_SEED=" + program.seed + "/" + program.row->name + "/" + std::to_string(program.lives);
}

static std::vector<char *> environment_of(const program &program, std::string &seed)
{
    std::vector<char *> entries;
    // The first of two entries with one name counts.
    for (const char *const *entry = program.row->environment; *entry != nullptr; entry++)
        entries.push_back(const_cast<char *>(*entry));
    if (!program.seed.empty())
        entries.push_back(seed.data());
    for (char **entry = environ; *entry != nullptr; entry++)
        entries.push_back(*entry);
    entries.push_back(nullptr);
    return entries;
}

// A session of its own, so that an interrupt typed at a terminal reaches stage alone; no signal blocked or
// ignored.
static int spawn(const program &program, pid_t &pid)
{
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    std::vector<char *> command = command_of(program);
    std::string seed = seed_entry(program);
    std::vector<char *> environment = environment_of(program, seed);
    int error = posix_spawn(&pid, command[0], &files, &attributes, command.data(), environment.data());
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return error;
}

void program_start(program &program)
{
    pid_t pid = -1;
    program.lives++;
    int error = spawn(program, pid);
    program.started_ns = clock_monotonic_ns();
    program.again = false;
    if (error != 0) {
        fprintf(stderr, "stage: %s cannot be started: %s: %s\n", program.row->name, program.row->command[0],
                strerror(error));
        program_ended(program, W_EXITCODE(status_not_executed, 0), true);
        return;
    }
    program.state = program_state::running;
    program.pid = pid;
    json_object *fields = json_object_new_object();
    json_set_text(fields, "program", program.row->name);
    json_set_number(fields, "pid", pid);
    journal_write("stage", "start", fields);
}

static void restart(program &program)
{
    program.restarts++;
    program_start(program);
}

void program_end(program &program, int signal, int grace_ms, bool again)
{
    if (program.state == program_state::waiting) {
        program.state = program_state::stopped;
        if (again)
            restart(program);
        return;
    }
    if (program.state == program_state::stopped)
        return;
    kill(program.pid, signal);
    program.state = program_state::ending;
    program.again = again;
    program.kill_at_ms = host_time_ms() + grace_ms;
}

// What comes next for a program that is gone. Returns the pause before its next life, -1 for none.
static int settle_end(program &program, bool may_restart)
{
    if (program.state == program_state::ending || !may_restart) {
        program.state = program_state::stopped;
        program.last_pause_ms = 0;
        return program.again && may_restart ? 0 : -1;
    }
    int64_t now_ns = clock_monotonic_ns();
    program.last_pause_ms =
        restart_pause_ms(program.last_pause_ms, (now_ns - program.started_ns) / ns_per_ms);
    program.due_ns = now_ns + program.last_pause_ms * ns_per_ms;
    program.state = program_state::waiting;
    return program.last_pause_ms;
}

void program_ended(program &program, int wait_status, bool may_restart)
{
    json_object *fields = json_object_new_object();
    json_set_text(fields, "program", program.row->name);
    if (WIFSIGNALED(wait_status)) {
        json_set_number(fields, "signal", WTERMSIG(wait_status));
        program.last_end = "killed by signal " + std::to_string(WTERMSIG(wait_status));
    } else {
        json_set_number(fields, "status", WEXITSTATUS(wait_status));
        program.last_end = "exit status " + std::to_string(WEXITSTATUS(wait_status));
    }
    int pause_ms = settle_end(program, may_restart);
    program.pid = -1;
    if (pause_ms >= 0)
        json_set_number(fields, "restart_ms", pause_ms);
    journal_write("stage", "exit", fields);
    if (pause_ms == 0)
        restart(program);
}

int program_run(program &program)
{
    if (program.state == program_state::waiting) {
        if (clock_monotonic_ns() >= program.due_ns)
            restart(program);
        else
            return clock_host_wait_ms(program.due_ns);
    }
    if (program.state != program_state::ending)
        return longest_wait_ms;
    int64_t left_ms = program.kill_at_ms - host_time_ms();
    if (left_ms > 0)
        return static_cast<int>(std::min<int64_t>(left_ms, longest_wait_ms));
    kill(program.pid, SIGKILL);
    program.kill_at_ms = host_time_ms() + longest_wait_ms;
    return longest_wait_ms;
}
