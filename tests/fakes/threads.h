// SPDX-License-Identifier: MIT
// threads.h - the threads that the daemon starts.
#pragma once

void threads_reset();
void thread_creation_gives(int result); // what every later one returns; not 0: no thread is made
int threads_started();
int threads_alive();
