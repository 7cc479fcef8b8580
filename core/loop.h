// SPDX-License-Identifier: MIT
// loop.h - waits for the descriptors of kit and hands each to its owner. Main thread only.
#pragma once

// SIGINT is blocked from here on in this and every later thread; the loop alone opens it.
void loop_block_sigint(void);

// Returns when polling fails or kit.exiting is set.
void loop_run(void);
