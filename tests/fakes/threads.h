// SPDX-License-Identifier: MIT
// threads.h - the threads that the daemon starts.
#pragma once

#include <functional>

void threads_reset();
void thread_creation_gives(int result); // what every later one returns; not 0: no thread is made
void thread_begins_when(std::function<bool()> allowed); // holds each that is made from now on; NULL: none
int threads_started();
int threads_alive();
