// SPDX-License-Identifier: MIT
#include "util/children.h"

#include "util/guards.h"

#include <sys/wait.h>

struct child {
    pid_t pid;
    child *next;
};

static child *running = nullptr;
static pthread_mutex_t running_lock = PTHREAD_MUTEX_INITIALIZER;

int child_start(const char *path)
{
    // The place to remember the pid comes first: a child that cannot be remembered could not be reaped.
    auto *started = static_cast<child *>(malloc(sizeof(child)));
    if (!started)
        return -1;

    char *const no_arguments[] = { nullptr };
    // The child does nothing but exec. NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork)
    pid_t pid = vfork();
    if (pid == 0) {
        execv(path, no_arguments);
        _exit(127);
    }
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
