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

// What becomes of the reply. yes and no set reply_flag before the handler runs; to_cloud sets it only for a
// request of the cloud client and leaves it as it is otherwise. plain_ok is yes, with the plain OK in ackbuf
// at last, whatever the handler wrote or returned.
enum class rpc_reply { yes, no, to_cloud, plain_ok };

// A text without arguments at a level of its own; without a level nothing is logged.
struct rpc_log_line {
    void (*log)(const char *format, ...);
    const char *text;
};

// Cells in the order in which they take effect.
struct rpc_method {
    const char *name;
    rpc_log_line receipt; // before anything else
    rpc_reply reply;
    int (*run)(rpc_call &);    // below 0: failed
    rpc_log_line failure = {}; // after a failed run
};

const rpc_method *rpc_method_find(const char *name); // NULL: not served

inline void rpc_log(const rpc_log_line &line)
{
    if (line.log)
        line.log("%s", line.text);
}
