// SPDX-License-Identifier: MIT
#include "core/dispatcher.h"

#include "core/kit.h"
#include "core/rpc_methods.h"
#include "handlers/status.h"
#include "libkivo_util.h"
#include "modules/module.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/send_text.h"
#include "util/text.h"

#include <cstring>

constexpr size_t ackbuf_size = 1024;

static bool has_method(const json_text &msg, const char *method)
{
    return json_verify_method_value(msg, "method", method, json_type_string) == 0;
}

// The two that the cloud client also sends without an id.
static void dispatch_without_id(const json_text &msg)
{
    if (has_method(msg, "local.status")) {
        log_debug("Got local.status not with the id...\n");
        if (local_handler_status(msg) < 0)
            log_err("local.status fail\n");
    } else if (has_method(msg, "local.bind")) {
        log_debug("Got local.bind not with the id...\n");
        if (local_handler_bind(msg) < 0)
            log_err("local.bind fail\n");
    }
}

static const char *method_of(const json_text &msg)
{
    json_object *member = nullptr;
    if (!json_object_object_get_ex(msg.object, "method", &member) ||
        !json_object_is_type(member, json_type_string))
        return nullptr;
    const char *method = json_object_get_string(member);
    // A name with a NUL inside is no name of ours.
    return strlen(method) == static_cast<size_t>(json_object_get_string_len(member)) ? method : nullptr;
}

static void apply_reply_rule(const rpc_method &row, rpc_call &call)
{
    switch (row.reply) {
    case rpc_reply::yes:
    case rpc_reply::plain_ok:
        call.reply_flag = 1;
        break;
    case rpc_reply::no:
        call.reply_flag = 0;
        break;
    case rpc_reply::to_cloud:
        if (rpc_origin == 0)
            call.reply_flag = 1;
        break;
    }
}

static void run_row(const rpc_method &row, rpc_call &call)
{
    rpc_log(row.receipt);
    apply_reply_rule(row, call);
    if (row.run(call) < 0)
        rpc_log(row.failure);
    if (row.reply == rpc_reply::plain_ok)
        reply_ok(call.ackbuf, call.ackbuf_size, call.id);
}

static void run_unknown(rpc_call &call)
{
    log_warning("Unknown method\n");
    call.reply_flag = 0;
    reply_refusal(call.ackbuf, call.ackbuf_size, call.id, "Unknown method");
}

// A module may answer what the table does not know, and runs after the table where both know a method.
static void run_modules(rpc_call &call, const char *method)
{
    for (int i = 0; i < module_count; i++) {
        const module &feature = module_table[i];
        for (int m = 0; feature.methods && m < feature.method_count; m++) {
            const module_method &served = feature.methods[m];
            if (!text_equal(served.name, method))
                continue;
            served.handler(call.msg.text, call.id, call.ackbuf, served.name, &call.reply_flag, call.sock);
            return;
        }
    }
}

int msg_dispatcher(const json_text &msg, int length, int sock, int origin)
{
    char ackbuf[ackbuf_size] = {};
    rpc_call call = {
        .msg = msg, .id = 0, .sock = sock, .ackbuf = ackbuf, .ackbuf_size = sizeof ackbuf, .reply_flag = 1
    };
    rpc_origin = origin;
    log_debug("%s, msg: %s, strlen: %d, len: %d\n", __func__, msg.text, static_cast<int>(strlen(msg.text)),
              length);
    if (json_verify_get_int(msg, "id", &call.id) != 0) {
        dispatch_without_id(msg);
        return 0;
    }
    const char *method = method_of(msg);
    const rpc_method *row = method ? rpc_method_find(method) : nullptr;
    if (row)
        run_row(*row, call);
    else
        run_unknown(call);
    if (method)
        run_modules(call, method);
    if (call.reply_flag) {
        log_debug("ackbuf: %s\n", ackbuf);
        send_text(sock, ackbuf);
    }
    return 0;
}
