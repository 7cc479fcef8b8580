// SPDX-License-Identifier: MIT
// dispatcher.h - runs the one handler that a message's "method" names, and sends its reply. Main thread only;
// the spec service calls it from inside another message's handling.
#pragma once

#include "util/json_text.h"

#include <cstdint>

extern uint64_t feedback_time; // wall-clock ms of the first "app_feedback_device_rpc" of a period, 0: none

// origin: 0 for a message of the cloud client, else a call made by the spec service. Always 0.
int msg_dispatcher(const json_text &msg, int length, int sock, int origin);
