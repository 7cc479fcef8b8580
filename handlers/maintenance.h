// SPDX-License-Identifier: MIT
// maintenance.h - what looks after the camera rather than its picture.
#pragma once

// Starts the log-saving script without waiting for it. Any thread.
void run_log2tf(void);

// Runs a shell command. out NULL: nothing is collected, and a command that must not hold up the daemon ends
// in "&". Otherwise out receives at most outsize - 1 characters of the output and ends with a NUL. Main
// thread only.
void run_cmd(const char *command, char *out, int outsize);
