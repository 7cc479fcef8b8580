// SPDX-License-Identifier: MIT
#include "handlers/status.h"

#include "core/kit.h"
#include "handlers/leds.h"
#include "handlers/maintenance.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/send_text.h"

#include <sys/time.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <strings.h>

constexpr int64_t earliest_time = 315532800; // 1980-01-01 00:00:00 UTC
constexpr suseconds_t half_second_us = 500000;

struct status_row {
    const char *begins_with;
    void (*show)(void);
    const char *dev_status;
};

template <led_pattern_name pattern> static void show(void)
{
    leds_show(pattern);
}

// The first row that matches decides. "wifi_connected" and "internet_failed" share a blink on purpose.
// clang-format off
static constexpr status_row status_rows[] = {
    { "ap_mode",            show<led_pattern_name::setup_blink>, "ap_mode" },
    { "wifi_ap_mode",       show<led_pattern_name::setup_blink>, "ap_mode" },
    { "sta_mode",           show<led_pattern_name::fast_blink>,  "wifi_connecting" },
    { "wifi_connecting",    show<led_pattern_name::fast_blink>,  "wifi_connecting" },
    { "wifi_connected",     show<led_pattern_name::slow_blink>,  "wifi_connected" },
    { "internet_failed",    show<led_pattern_name::slow_blink>,  "internet_failed" },
    { "internet_connected", show<led_pattern_name::cloud_blink>, "cloud_connecting" },
    { "cloud_trying",       show<led_pattern_name::cloud_blink>, "cloud_connecting" },
    { "cloud_retry",        show<led_pattern_name::cloud_blink>, "cloud_connecting" },
    { "cloud_connected",    led_final_set,                       "normal" },
};
// clang-format on

// NULL when msg is not JSON (logged), or has no such member of this type.
static json_object *member_of(const json_text &msg, const char *function, const char *key, json_type type)
{
    if (!msg.object) {
        log_warning("%s: Not in json format: %s\n", function, msg.text);
        return nullptr;
    }
    json_object *member = nullptr;
    if (!json_object_object_get_ex(msg.object, key, &member) || !json_object_is_type(member, type))
        return nullptr;
    return member;
}

int local_handler_status(const json_text &msg)
{
    json_object *params = member_of(msg, __func__, "params", json_type_string);
    if (!params)
        return -1;
    const char *status = json_object_get_string(params);
    log_debug("%s: otd status: %s\n", __func__, status);
    kit.status_received = 1;
    if (shared(kit.power).load() && kit.light)
        torvu_led_setpriority(1);
    for (const status_row &row : status_rows) {
        if (strncmp(status, row.begins_with, strlen(row.begins_with)) != 0)
            continue;
        row.show();
        selvar_mem_set_string("dev_status", row.dev_status, 0);
        break;
    }
    return 0;
}

int local_handler_bind(const json_text &msg)
{
    json_object *result = member_of(msg, __func__, "result", json_type_string);
    if (!result)
        return -1;
    const char *text = json_object_get_string(result);
    log_debug("%s: local.bind status: %s\n", __func__, text);
    if (strncasecmp(text, "fail", 4) == 0) {
        leds_show(led_pattern_name::setup_blink);
        selvar_nvram_restore();
        return 0;
    }
    selvar_nvram_set_string("bind_status", "ok", 0);
    selvar_nvram_sync();
    selvar_mem_set_string("dev_status", "normal", 0);
    return 0;
}

// With the line end of its own that ctime gives; empty for a moment that has no calendar form.
static const char *time_text(time_t moment)
{
    const char *text = ctime(&moment);
    return text ? text : "";
}

int local_handler_time(const json_text &msg)
{
    json_object *params = member_of(msg, __func__, "params", json_type_int);
    if (!params)
        return -1;
    int64_t seconds = json_object_get_int64(params);
    auto moment = static_cast<time_t>(seconds);
    if (seconds < earliest_time) {
        log_warning("Ignore system time: %s\n", time_text(moment));
        return 0;
    }
    timeval middle = { moment, half_second_us };
    if (settimeofday(&middle, nullptr) != 0) {
        log_warning("Set system time fail: %s\n", strerror(errno));
        return 0;
    }
    log_info("Set system time success: %s\n", time_text(moment));
    kit.time_set_at = time_monotonic();
    return 0;
}

int local_handler_query_did(const json_text &msg)
{
    json_object *params = member_of(msg, __func__, "params", json_type_int);
    if (!params)
        return -1;
    int did = json_object_get_int(params);
    if (did <= 0)
        return did;
    log_err("kivo_did = %d\n", did);
    char text[16];
    return snprintf(text, sizeof text, "%d", did);
}

int app_feedback_device_rpc_parse(const json_text &msg)
{
    if (!msg.object) {
        log_warning("%s: Not in json format: %s\n", __func__, msg.text);
        return -1;
    }
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params))
        return -1;
    log_err("app_feedback_device_rpc_parse _camwarden\n");
    json_object *wanted = nullptr;
    if (!json_object_object_get_ex(params, "has_feedback", &wanted)) {
        log_err("%s: get has_feedback error\n", __func__);
        return -1;
    }
    if (!json_object_is_type(wanted, json_type_boolean)) {
        log_err("%s: get app_feedback_device_rpc type:%d error\n", __func__, json_object_get_type(wanted));
        return -1;
    }
    if (json_object_get_boolean(wanted))
        run_cmd("/mnt/data/bin/kivo_log 18 &", nullptr, 0);
    else
        log_err("has_feedback switch is not true \n");
    return 0;
}

void otd_query_did(void)
{
    char text[1024] = {};
    snprintf(text, sizeof text, "{\"id\":%d,\"method\":\"local.query_did\",\"params\":\"\"}",
             generate_random_id());
    if (kit.otd_sock < 1) {
        log_warning("%s(), otd_sock not ready: %d\n", __func__, kit.otd_sock);
        return;
    }
    send_text(kit.otd_sock, text);
    log_err("otd_query_did send success\n");
}
