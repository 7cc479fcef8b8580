// SPDX-License-Identifier: MIT
// maintenance.h - what looks after the camera rather than its picture. Main thread only, where nothing else
// is said. msg is a whole request.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// Tells the cloud client, shows the LEDs of a reboot, announces it and stamps kit.reboot_time: five seconds
// later the tick carries it out. Nothing happens during a firmware update.
void kit_reboot(void);

// The stored settings back to their defaults, a prompt, and a reboot. The result of the store, or -1 during a
// firmware update, when nothing happens.
int reset_to_factory(void);

// The same, with the OK in out first; an outsize below 36 leaves out as it is.
int restore_handler(int32_t id, char *out, int outsize);

// A reboot is refused during a firmware update; logged.
bool reboot_refused_by_update(void);

// Starts the log-saving script without waiting for it. Any thread.
void run_log2tf(void);

// Runs a shell command. out NULL: nothing is collected, and a command that must not hold up the daemon ends
// in "&". Otherwise out receives at most outsize - 1 characters of the output and ends with a NUL.
void run_cmd(const char *command, char *out, int outsize);

// Runs the command in "params"; its output travels as the message of an error, on purpose. 0, or -1 when the
// request was malformed.
int local_handler_shell(const json_text &msg, int32_t id, char *out, int outsize);

// "kiVO.config_loglevel". Does not answer. 0, or -1 when no level was set.
int otd_set_loglevel(const json_text &msg);
