// SPDX-License-Identifier: MIT
#include "util/shell.h"

#include <csignal>
#include <cstdlib>

// system ignores SIGINT while the command runs, and that forgets one that is blocked and pending.
int shell_run(const char *command)
{
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    int status = system(command);
    if (sigismember(&pending, SIGINT) == 1)
        raise(SIGINT);
    return status;
}
