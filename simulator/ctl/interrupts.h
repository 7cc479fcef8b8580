// SPDX-License-Identifier: MIT
// interrupts.h - Ctrl-C and its like, for a command that has a camera to put away first. One thread.
#pragma once

#include <sys/types.h>

// From now on SIGINT, SIGTERM and SIGHUP are counted and nothing else; what they interrupt ends with EINTR.
void interrupts_watch(void);

// For a child: they end it again.
void interrupts_release(void);

int interrupts_count(void);

// fork(2), after interrupts_watch. For the child they are released. Until interrupts_wait has given it out it
// also gets each that somebody sends to this process alone; one that is typed at a terminal reaches both by
// itself.
pid_t interrupts_fork(void);

// Waits until any child of this process has ended, and returns it with its status as waitpid(2) tells it.
pid_t interrupts_wait(int &status);
