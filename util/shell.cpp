// SPDX-License-Identifier: MIT
#include "util/shell.h"

#include <csignal>
#include <cstdlib>

// system has SIGINT ignored while the command runs. One that comes meanwhile stays pending all the same,
// since it is blocked; but one that is pending when system begins is forgotten by the kernel, so it is raised
// again. What is lost is one that comes in the instant between the look here and system's own change of the
// signal: no call closes that gap, and whoever sent it can send another.
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
