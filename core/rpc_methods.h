// SPDX-License-Identifier: MIT
// rpc_methods.h - the methods that the daemon serves, one row each. A new method is a new row and a function.
#pragma once

#include "util/json_text.h"

#include <cstddef>
#include <cstdint>

// One request on its way through the dispatcher.
struct rpc_call {
    const json_text &msg;
    int32_t id;
    int sock;
    char *ackbuf; // the reply, zeroed; a handler that composes one writes it here
    size_t ackbuf_size;
    int32_t reply_flag; // not 0: ackbuf is sent after handling
};

// send_to_cloud sets the flag only for a request of the cloud client, and leaves it as it is otherwise.
enum class rpc_reply { send, silent, send_to_cloud };

// A text without arguments at a level of its own; an empty one logs nothing.
struct rpc_log_line {
    void (*log)(const char *format, ...) = nullptr;
    const char *text = nullptr;
};

struct rpc_method {
    const char *name;
    rpc_log_line receipt;   // before anything else
    int (*run)(rpc_call &); // below 0: failed
    rpc_log_line failure = {};
    rpc_reply reply;
    bool fixed_ok = false;      // afterwards ackbuf is the plain OK, whatever the handler wrote or returned
    rpc_log_line finished = {}; // after the handler, whatever it returned
};

const rpc_method *rpc_method_find(const char *name); // NULL: not served

inline void rpc_log(const rpc_log_line &line)
{
    if (line.log)
        line.log("%s", line.text);
}
