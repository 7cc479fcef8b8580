// SPDX-License-Identifier: MIT
// pollset.h - the descriptors that the loop waits for, at the head of kit. Main thread only.
#pragma once

#include "core/kit.h"

// Adding has two halves, because the links log between them: the entry is written behind the used ones, then
// counted.
void pollset_write(int fd);
void pollset_count(void);

void pollset_add(int fd); // both halves

// False: fd is not in the set.
bool pollset_remove(int fd);

// Ends the process when ten entries are in use, after a log line that names file and line.
void pollset_check_limit(const char *file, int line);
