// SPDX-License-Identifier: MIT
#include "util/reply.h"

#include "libkivo_util.h"

#include <cstdio>

void reply_ok(char *out, size_t size, int32_t id)
{
    snprintf(out, size, "{\"id\":%d,\"result\":[\"OK\"]}", id);
}

void reply_refusal(char *out, size_t size, int32_t id, const char *message)
{
    snprintf(out, size, "{\"id\":%d,\"error\":{\"code\":-33020,\"message\":\"%s\"}}", id, message);
}

void reply_motor_failure(char *out, size_t size, int32_t id, const char *message)
{
    snprintf(out, size, "{\"id\":%d,\"error\":{\"code\":-4000,\"message\":\"%s\"}}", id, message);
}

int reply_no_memory(const char *function)
{
    log_err("%s: out of memory\n", function);
    return -1;
}

bool reply_render(char *out, size_t size, json_object *reply, int flags)
{
    const char *text = json_object_to_json_string_ext(reply, flags);
    if (!text) {
        reply_no_memory(__func__);
        return false;
    }
    snprintf(out, size, "%s", text);
    return true;
}
