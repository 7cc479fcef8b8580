// SPDX-License-Identifier: MIT
#include "core/rpc_methods.h"

#include "core/dispatcher.h"
#include "core/kit.h"
#include "handlers/loud_sound.h"
#include "handlers/maintenance.h"
#include "handlers/motor_commands.h"
#include "handlers/properties.h"
#include "handlers/statistics.h"
#include "handlers/status.h"
#include "libkivo_util.h"
#include "sound/prompts.h"
#include "sound/sound.h"
#include "store/selvar_nvram.h"
#include "util/reply.h"
#include "util/send_text.h"
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

static int send_props(rpc_call &call)
{
    int result = fills<otd_send_props>(call);
    log_debug("send props ok!\n");
    return result;
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

static int restore(rpc_call &call)
{
    report_stat(stat_cloud_reset);
    return restore_handler(call.id, call.ackbuf, static_cast<int>(call.ackbuf_size));
}

// During a firmware update all of this but the reboot happens.
static int restart_device(rpc_call &)
{
    selvar_mem_set_string("dev_status", "reset", 0);
    report_stat(stat_restart);
    kit_reboot();
    return 0;
}

// These two have their receipt lines here, since they carry the message.
static int set_lsd_config(rpc_call &call)
{
    log_info(">>>>set_lsd_config=%s\n", call.msg.text);
    return otd_set_lsd_info(call.msg, call.id, call.ackbuf, "set_lsd_config", &call.reply_flag);
}

static int get_lsd_config(rpc_call &call)
{
    log_info(">>>>get_lsd_config=%s\n", call.msg.text);
    return otd_get_lsd_info(call.id, call.ackbuf);
}

// The answer does not wait for the prompts.
static int alarm_sound(rpc_call &call)
{
    reply_ok(call.ackbuf, call.ackbuf_size, call.id);
    send_text(call.sock, call.ackbuf);
    for (int id : { sound_alarm1, sound_alarm2, sound_alarm3 })
        sound_play(sound_prompt_name(id), sound_queued, language);
    return 0;
}

using enum rpc_reply;

// clang-format off
static constexpr rpc_method rpc_methods[] = {
    { "kiVO.restore",                { log_debug, "Got kiVO.restore...\n" },       yes,      restore,                            { log_debug, "kiVO restore fail\n" } },
    { "set_motor",                   { log_debug, "Got set_motor..\n" },           yes,      fills<otd_set_motor_process>,       { log_err, "set_motor fail\n" } },
    { "local.time",                  { log_debug, "Got local.time...\n" },         no,       text_only<local_handler_time>,      { log_err, "local.time fail\n" } },
    { "local.status",                { log_debug, "Got local.status...\n" },       no,       text_only<local_handler_status>,    { log_err, "local.status fail\n" } },
    { "local.bind",                  { log_debug, "Got local.bind...\n" },         no,       text_only<local_handler_bind>,      { log_err, "local.bind fail\n" } },
    { "local.did",                   { log_debug, "Got local.did...\n" },          no,       text_only<local_handler_query_did>, { log_err, "local.did fail\n" } },
    { "get_prop",                    { log_debug, "Got get_prop...\n" },           yes,      send_props },
    { "restart_device",              { log_info, "recv restart infomation. The device reboot now.\n" }, plain_ok, restart_device },
    { "set_watermark",               {},                                           no,       answers_itself<set_watermark> },
    { "set_flip",                    {},                                           no,       answers_itself<set_flip> },
    { "set_wdr",                     { log_debug, "Got set_wdr...\n" },            no,       answers_itself<set_wdr> },
    { "set_motion_record",           { log_debug, "Got set_motion_record...\n" },  to_cloud, sets_props<motion_record> },
    { "setAlarmConfig",              { log_debug, "Got set_motion_alarm...\n" },   plain_ok, sets_props<motion_alarm> },
    { "getAlarmConfig",              { log_debug, "Got motion_alarm...\n" },       yes,      sets_props<motion_alarm_get> },
    { "set_motion_region",           {},                                           plain_ok, sets_props<motion_region> },
    { "get_motion_region",           {},                                           yes,      sets_props<get_motion_region> },
    { "set_motion_detection_enable", {},                                           plain_ok, sets_props<motion_detection_enable> },
    { "update_log",                  { log_debug, "Update the log to server.\n" }, no,       update_log },
    { "app_feedback_device_rpc",     { log_err, "send app_feedback to fds\n" },    no,       app_feedback },
    { "set_power",                   {},                                           no,       answers_itself<otd_power_process> },
    { "set_light",                   {},                                           no,       answers_itself<set_light> },
    { "set_full_color",              {},                                           no,       answers_itself<set_full_color> },
    { "set_night_mode",              { log_debug, "Got kiVO.night_mode...\n" },    to_cloud, fills<night_mode_set>,              { log_err, "kiVO.night_mode fail\n" } },
    { "kiVO.config_loglevel",        { log_debug, "Got kiVO.config_loglevel...\n" }, no,     text_only<otd_set_loglevel> },
    { "set_improve_program",         { log_debug, "set improve_program...\n" },    plain_ok, text_only<set_improve_program> },
    { "alarm_sound",                 { log_debug, "manual play alarm sound .... \n" }, no,   alarm_sound },
    { "set_lsd_config",              {},                                           yes,      set_lsd_config },
    { "get_lsd_config",              {},                                           yes,      get_lsd_config },
};
// clang-format on

const rpc_method *rpc_method_find(const char *name)
{
    for (const rpc_method &row : rpc_methods)
        if (text_equal(row.name, name))
            return &row;
    return nullptr;
}
