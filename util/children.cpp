// SPDX-License-Identifier: MIT
#include "util/children.h"

#include "util/guards.h"

#include <sys/wait.h>

#include <csignal>

struct child {
    pid_t pid;
    child *next;
};

static child *running = nullptr;
static pthread_mutex_t running_lock = PTHREAD_MUTEX_INITIALIZER;

// The thread that starts a program may have signals blocked, the device kit's own all of them. A script that
// began so could neither be interrupted nor wait for its own children. The daemon's handler is taken off
// first.
static void open_signals(void)
{
    struct sigaction as_usual = {};
    as_usual.sa_handler = SIG_DFL;
    sigaction(SIGINT, &as_usual, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

int child_start(const char *path)
{
    // The place to remember the pid comes first: a child that cannot be remembered could not be reaped.
    auto *started = static_cast<child *>(malloc(sizeof(child)));
    if (!started)
        return -1;

    char *const no_arguments[] = { nullptr };
    // The child does nothing but exec, in the parent's memory, and system calls of its own before.
    // NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork)
    pid_t pid = vfork();
    if (pid == 0) {
        open_signals();
        execv(path, no_arguments);
        _exit(127);
    }
    // NOLINTEND(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork)
    if (pid < 0) {
        free(started);
        return -1;
    }

    lock_guard held(running_lock);
    *started = { pid, running };
    running = started;
    return 0;
}

void child_reap(void)
{
    lock_guard held(running_lock);
    child **link = &running;
    while (*link) {
        child *looked_at = *link;
        if (waitpid(looked_at->pid, nullptr, WNOHANG) == 0) {
            link = &looked_at->next;
            continue;
        }
        *link = looked_at->next;
        free(looked_at);
    }
}
