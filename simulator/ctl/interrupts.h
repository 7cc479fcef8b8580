// SPDX-License-Identifier: MIT
// interrupts.h - Ctrl-C and its like, for a command that has a camera to put away first. One thread.
#pragma once

#include <sys/types.h>

// From now on SIGINT, SIGTERM and SIGHUP are counted and nothing else; what they interrupt ends with EINTR.
void interrupts_watch(void);

// For a child: they end it again.
void interrupts_release(void);

int interrupts_count(void);

// fork(2) and the end of that child, after interrupts_watch. For the child they are released. Until it has
// ended it also gets each that somebody sends to this process alone; one that is typed at a terminal reaches
// both by itself. The second returns its status as waitpid(2) tells it.
pid_t interrupts_fork(void);
int interrupts_wait_for(pid_t pid);
