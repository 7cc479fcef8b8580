// SPDX-License-Identifier: MIT
// memory.h - lets memory run out in the daemon: its own malloc and realloc, and what it has json-c make.
#pragma once

// The nth allocation from now on fails, once; 1 is the next.
void allocation_fails(int nth);

// Whether it came to that; also ends the watch.
bool allocation_failed();
