// SPDX-License-Identifier: MIT
// reply.h - the reply texts that the handlers share, cut to size bytes with the NUL, and the rendering of a
// built reply.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>

void reply_ok(char *out, size_t size, int32_t id);
void reply_refusal(char *out, size_t size, int32_t id, const char *message);       // code -33020
void reply_motor_failure(char *out, size_t size, int32_t id, const char *message); // code -4000

// flags as json-c takes them. False, with a log line and out as it was, when memory ran out.
bool reply_render(char *out, size_t size, json_object *reply, int flags);

constexpr int reply_default = JSON_C_TO_STRING_SPACED;
constexpr int reply_compact = 4;

// The one log line of a request that fails for want of memory. Always -1.
int reply_no_memory(const char *function);
