// SPDX-License-Identifier: MIT
// children.h - processes that are started and not waited for. Any thread.
#pragma once

// Starts the program at path with an empty argument list. A path that cannot be executed ends the child with
// status 127 and nothing else. 0, or -1 when no process could be made.
int child_start(const char *path);

// Takes the exit status of those that have ended, each by its own pid. Called on the tick.
void child_reap(void);
