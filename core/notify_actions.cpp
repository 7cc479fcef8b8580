// SPDX-License-Identifier: MIT
#include "core/notify_actions.h"

#include "core/dispatcher.h"
#include "core/kit.h"
#include "core/notify_motor.h"
#include "core/watched_keys.h"
#include "handlers/leds.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "sound/prompts.h"
#include "sound/sound.h"
#include "spec/service.h"
#include "store/selvar_nvram.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>

constexpr int led_cmd_priority = 2;
constexpr size_t language_limit = 7; // characters, this many are too many

static uint64_t last_time_night = 0;

static uint8_t is_on(const char *value)
{
    return text_equal(value, "on") ? 1 : 0;
}

static void on_led_cmd(const char *value)
{
    int n[5] = { -1, -1, -1, -1, -1 };
    sscanf(value, "[%d,%d,%d,%d,%d]", &n[0], &n[1], &n[2], &n[3], &n[4]);
    for (int number : n) {
        if (number >= 0)
            continue;
        log_err("led msg error, [%d,%d,%d,%d,%d]", n[0], n[1], n[2], n[3], n[4]);
        return;
    }
    torvu_led_control(n[0], n[1], n[2], n[3], n[4], led_cmd_priority);
}

static void on_dev_status(const char *value)
{
    kit.ota = text_equal(value, "ota") ? 1 : 0;
    log_debug("kit.ota: %d\n", kit.ota);
}

static void on_sound_play(const char *value)
{
    int id = 0;
    int flags = 0;
    int unused = 0;
    if (sscanf(value, "[%d,%d,%d]", &id, &flags, &unused) < 3) {
        log_warning("sound_play msg error: %s\n", value);
        return;
    }
    const char *name = sound_prompt_name(id);
    if (!name) {
        log_err("sound_play error, unknown sound id: %d !\n", id);
        return;
    }
    int result = sound_play(name, flags, language);
    if (result < 0)
        log_err("sound_play error, ret: %d !\n", result);
}

static void on_light(const char *value)
{
    kit.light = text_equal(value, "off") ? 0 : 1;
    log_debug("kit.light: %d\n", kit.light);
}

static void show_light(void)
{
    if (kit.light == 1) {
        log_debug("set light on!\n");
        torvu_led_setpriority(1);
        leds_show(led_pattern_name::light_set_on);
    } else {
        log_debug("set light off!\n");
        leds_show(led_pattern_name::light_set_off);
    }
}

static void on_power(const char *value)
{
    bool off = value && text_equal(value, "off");
    shared(kit.power).store(off ? 0 : 1);
    if (off) {
        log_debug("device power status is off!\n");
        leds_show(led_pattern_name::light_set_off);
    } else {
        show_light();
    }
    log_debug("kit.power: %d\n", off ? 0 : 1);
}

static void on_motion_detection_enable(const char *value)
{
    kit.motion_enable = is_on(value);
    log_debug("kit.motion_enable: %d\n", kit.motion_enable);
}

static void on_full_color(const char *value)
{
    kit.color = is_on(value);
    log_debug("kit.color: %d\n", kit.color);
}

static void on_watermark(const char *value)
{
    kit.watermark = is_on(value);
    log_debug("kit.watermark: %d\n", kit.watermark);
}

static void on_motion_record(const char *value)
{
    if (text_equal(value, "on"))
        kit.motion_record = 1;
    else
        kit.motion_record = text_equal(value, "stop") ? 2 : 0;
    log_debug("kit.motion_record: %d\n", kit.motion_record);
}

static void on_flip(const char *value)
{
    uint8_t flip = is_on(value);
    shared(kit.flip).store(flip);
    log_debug("kit.flip: %d\n", flip);
}

static void on_wdr(const char *value)
{
    kit.wdr = is_on(value);
    log_debug("kit.wdr: %d\n", kit.wdr);
}

static void on_night_mode(const char *value)
{
    kit.night = atoi(value);
    log_debug("kit.night: %d\n", kit.night);
}

static void on_sdcard_status(const char *value)
{
    kit.card_status = atoi(value);
    log_debug("kit.card_status: %d\n", kit.card_status);
}

static void on_motion_alarm(const char *value)
{
    text_copy(motion_alarm_cfg, sizeof motion_alarm_cfg, value);
    log_debug("motion_alarm: %s\n", motion_alarm_cfg);
}

static void on_motion_region(const char *value)
{
    text_copy(motion_region_cfg, sizeof motion_region_cfg, value);
    log_debug("motion_region: %s\n", motion_region_cfg);
}

static void on_max_client(const char *value)
{
    kit.max_client = text_equal(value, "1") ? 1 : 0;
    log_debug("kit.max_client: %d\n", kit.max_client);
}

static void on_language(const char *value)
{
    size_t length = strlen(value);
    if (length < language_limit)
        text_copy(language, sizeof language, value);
    else
        log_err("language msg is too long: %d!\n", static_cast<int>(length));
    log_debug("language: %s\n", language);
}

static void on_bind_status(const char *value)
{
    if (!value) {
        log_debug("bind_status is NULL.\n");
        kit.bind_wait_time = time_monotonic();
    } else if (text_equal(value, "ok")) {
        log_debug("bind_status is ok(%s)\n", value);
        kit.bind_wait_time = 0;
        selvar_nvram_register_notify(watched_when_bound.space, watched_when_bound.key);
    } else {
        log_debug("bind_status is not ok(%s)\n", value);
        kit.bind_wait_time = time_monotonic();
    }
}

static void on_detection_start(const char *value)
{
    sscanf(value, "%d:%d:%d", &kit.start_hour, &kit.start_min, &kit.start_sec);
    log_debug("kit.start_hour:%d\n", kit.start_hour);
    log_debug("kit.start_min:%d\n", kit.start_min);
    log_debug("kit.start_sec:%d\n", kit.start_sec);
}

static void on_detection_end(const char *value)
{
    sscanf(value, "%d:%d:%d", &kit.end_hour, &kit.end_min, &kit.end_sec);
    log_debug("kit.end_hour:%d\n", kit.end_hour);
    log_debug("kit.end_min:%d\n", kit.end_min);
    log_debug("kit.end_sec:%d\n", kit.end_sec);
}

static void on_time_night(uint64_t value)
{
    if (value != last_time_night)
        kit.night_count++;
    last_time_night = value;
    log_debug("kit.night_count: %d  time_night :%lld\n", kit.night_count, static_cast<long long>(value));
}

static void on_improve_program(const char *value)
{
    kit.improve_program = is_on(value);
}

static void on_lsd_switch(const char *value)
{
    lsd_switch = atoi(value);
    log_info(">>>>>>lsd_switch=%d\n", lsd_switch);
}

static void on_lsd_push(const char *value)
{
    lsd_push = atoi(value);
    log_info(">>>>>>lsd_push=%d\n", lsd_push);
}

static void on_lsd_sensity(const char *value)
{
    lsd_sensity = atoi(value);
    log_info(">>>>>>lsd_sensity=%d\n", lsd_sensity);
}

static void on_did(const char *value)
{
    text_copy(g_did, sizeof g_did, value);
    log_debug("g_did = %s", g_did);
    nubo_spec_init(g_did, kit.otd_sock, msg_dispatcher);
}

// clang-format off
static constexpr notify_action notify_actions[] = {
    { .key = "led_cmd",                 .run = on_led_cmd },
    { .key = "motor_cmd",               .run = notify_motor_cmd },
    { .key = "dev_status",              .run = on_dev_status },
    { .key = "sound_play",              .run = on_sound_play },
    { .key = "light",                   .run = on_light },
    { .key = "power",                   .run = on_power,                   .accepts_null = true },
    { .key = "motor",                   .run = notify_motor,               .accepts_null = true },
    { .key = "motor_reset",             .run = notify_motor_reset },
    { .key = "motor_slide_screen",      .run = notify_motor_slide_screen },
    { .key = "motion_detection_enable", .run = on_motion_detection_enable },
    { .key = "full_color",              .run = on_full_color },
    { .key = "watermark",               .run = on_watermark },
    { .key = "motion_record",           .run = on_motion_record },
    { .key = "flip",                    .run = on_flip },
    { .key = "wdr",                     .run = on_wdr },
    { .key = "night_mode",              .run = on_night_mode },
    { .key = "sdcard_status",           .run = on_sdcard_status },
    { .key = "motion_alarm",            .run = on_motion_alarm },
    { .key = "motion_region",           .run = on_motion_region },
    { .key = "max_client",              .run = on_max_client },
    { .key = "language",                .run = on_language },
    { .key = "bind_status",             .run = on_bind_status,             .accepts_null = true },
    { .key = "track",                   .run = notify_track },
    { .key = "track_switch",            .run = notify_track_switch },
    { .key = "detection_start",         .run = on_detection_start },
    { .key = "detection_end",           .run = on_detection_end },
    { .key = "time_night",              .run = nullptr,                    .run_number = on_time_night },
    { .key = "improve_program",         .run = on_improve_program },
    { .key = "lsd_switch",              .run = on_lsd_switch },
    { .key = "lsd_push",                .run = on_lsd_push },
    { .key = "lsd_sensity",             .run = on_lsd_sensity },
    { .key = "did",                     .run = on_did },
};
// clang-format on

const notify_action *notify_action_find(const char *key)
{
    for (const notify_action &row : notify_actions)
        if (text_equal(row.key, key))
            return &row;
    return nullptr;
}
