// SPDX-License-Identifier: MIT
#include "core/rpc_methods.h"

#include "core/dispatcher.h"
#include "handlers/maintenance.h"
#include "handlers/properties.h"
#include "handlers/status.h"
#include "libkivo_util.h"
#include "util/text.h"

constexpr uint64_t feedback_period_ms = 10000;

uint64_t feedback_time = 0;

// The shapes of a handler: text only; socket and text; or a reply to fill.
template <int (*handler)(const json_text &)> static int text_only(rpc_call &call)
{
    return handler(call.msg);
}

template <int (*handler)(int, const json_text &)> static int answers_itself(rpc_call &call)
{
    return handler(call.sock, call.msg);
}

template <int (*handler)(const json_text &, int32_t, char *, int)> static int fills(rpc_call &call)
{
    return handler(call.msg, call.id, call.ackbuf, static_cast<int>(call.ackbuf_size));
}

static constexpr char motion_record[] = "motion_record";
static constexpr char motion_alarm[] = "motion_alarm";
static constexpr char motion_alarm_get[] = "motion_alarm_get";
static constexpr char motion_region[] = "motion_region";
static constexpr char get_motion_region[] = "get_motion_region";
static constexpr char motion_detection_enable[] = "motion_detection_enable";

template <const char *key> static int sets_props(rpc_call &call)
{
    return otd_set_props(call.msg, call.id, call.ackbuf, static_cast<int>(call.ackbuf_size), key);
}

static int update_log(rpc_call &)
{
    run_cmd("/mnt/data/bin/log2ky.sh", nullptr, 0);
    return 0;
}

// Runs the first of a period and drops what follows within 10 s; the first one after that clears the stamp.
static int app_feedback(rpc_call &call)
{
    if (feedback_time == 0) {
        feedback_time = time_realtime_ms();
        return app_feedback_device_rpc_parse(call.msg);
    }
    if (time_realtime_ms() - feedback_time <= feedback_period_ms) {
        log_err("duplicated rpc method  ignor in 10s\n");
        return 0;
    }
    int result = app_feedback_device_rpc_parse(call.msg);
    feedback_time = 0;
    return result;
}

// clang-format off
static constexpr rpc_method rpc_methods[] = {
    { .name = "local.time",                  .receipt = { log_debug, "Got local.time...\n" },         .run = text_only<local_handler_time>,                      .failure = { log_err, "local.time fail\n" },      .reply = rpc_reply::silent },
    { .name = "local.status",                .receipt = { log_debug, "Got local.status...\n" },       .run = text_only<local_handler_status>,                    .failure = { log_err, "local.status fail\n" },    .reply = rpc_reply::silent },
    { .name = "local.bind",                  .receipt = { log_debug, "Got local.bind...\n" },         .run = text_only<local_handler_bind>,                      .failure = { log_err, "local.bind fail\n" },      .reply = rpc_reply::silent },
    { .name = "local.did",                   .receipt = { log_debug, "Got local.did...\n" },          .run = text_only<local_handler_query_did>,                 .failure = { log_err, "local.did fail\n" },       .reply = rpc_reply::silent },
    { .name = "get_prop",                    .receipt = { log_debug, "Got get_prop...\n" },           .run = fills<otd_send_props>,                              .reply = rpc_reply::send,                         .finished = { log_debug, "send props ok!\n" } },
    { .name = "set_watermark",               .receipt = {},                                           .run = answers_itself<set_watermark>,                      .reply = rpc_reply::silent },
    { .name = "set_flip",                    .receipt = {},                                           .run = answers_itself<set_flip>,                           .reply = rpc_reply::silent },
    { .name = "set_wdr",                     .receipt = { log_debug, "Got set_wdr...\n" },            .run = answers_itself<set_wdr>,                            .reply = rpc_reply::silent },
    { .name = "set_motion_record",           .receipt = { log_debug, "Got set_motion_record...\n" },  .run = sets_props<motion_record>,                          .reply = rpc_reply::send_to_cloud },
    { .name = "setAlarmConfig",              .receipt = { log_debug, "Got set_motion_alarm...\n" },   .run = sets_props<motion_alarm>,                           .reply = rpc_reply::send,                         .fixed_ok = true },
    { .name = "getAlarmConfig",              .receipt = { log_debug, "Got motion_alarm...\n" },       .run = sets_props<motion_alarm_get>,                       .reply = rpc_reply::send },
    { .name = "set_motion_region",           .receipt = {},                                           .run = sets_props<motion_region>,                          .reply = rpc_reply::send,                         .fixed_ok = true },
    { .name = "get_motion_region",           .receipt = {},                                           .run = sets_props<get_motion_region>,                      .reply = rpc_reply::send },
    { .name = "set_motion_detection_enable", .receipt = {},                                           .run = sets_props<motion_detection_enable>,                .reply = rpc_reply::send,                         .fixed_ok = true },
    { .name = "update_log",                  .receipt = { log_debug, "Update the log to server.\n" }, .run = update_log,                                         .reply = rpc_reply::silent },
    { .name = "app_feedback_device_rpc",     .receipt = { log_err, "send app_feedback to fds\n" },    .run = app_feedback,                                       .reply = rpc_reply::silent },
    { .name = "set_power",                   .receipt = {},                                           .run = answers_itself<otd_power_process>,                  .reply = rpc_reply::silent },
    { .name = "set_light",                   .receipt = {},                                           .run = answers_itself<set_light>,                          .reply = rpc_reply::silent },
    { .name = "set_full_color",              .receipt = {},                                           .run = answers_itself<set_full_color>,                     .reply = rpc_reply::silent },
    { .name = "set_night_mode",              .receipt = { log_debug, "Got kiVO.night_mode...\n" },    .run = fills<night_mode_set>,                              .failure = { log_err, "kiVO.night_mode fail\n" }, .reply = rpc_reply::send_to_cloud },
    { .name = "set_improve_program",         .receipt = { log_debug, "set improve_program...\n" },    .run = text_only<set_improve_program>,                     .reply = rpc_reply::send,                         .fixed_ok = true },
};
// clang-format on

const rpc_method *rpc_method_find(const char *name)
{
    for (const rpc_method &row : rpc_methods)
        if (text_equal(row.name, name))
            return &row;
    return nullptr;
}
