// SPDX-License-Identifier: MIT
// shared_memory.h - System V segments of the test program's own, with the rules of real ones and without the
// host's keys: cases that run side by side do not meet. Any thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>

// What fails from now on.
enum class segment_trouble { none, no_segment, no_address, null_address, no_detaching, no_removal };

void shared_memory_reset();
void segment_has(segment_trouble trouble);

void segment_removal_does(std::function<void()> something); // once, as the next shmctl begins

// Another process makes the segment of key, or removes it. Who is attached stays attached.
void segment_made_by_other(key_t key, size_t size);
void segment_removed_by_other(key_t key);

void *segment_memory(key_t key); // NULL: there is none
int segments_alive();            // made, and not both removed and detached from
int segments_attached();
