// SPDX-License-Identifier: MIT
// watched_keys.h - the watched keys in the order of registration.
#pragma once

struct watched_key {
    const char *space;
    const char *key;
    void (*prepare)(void) = nullptr; // right before the key is registered
};

void notify_prepare_sound_play(void);

// clang-format off
inline constexpr watched_key watched_keys[] = {
    { "mem",   "led_cmd" },
    { "mem",   "motor_cmd" },
    { "mem",   "dev_status" },
    { "mem",   "track" },
    { "mem",   "motor_reset" },
    { "mem",   "motor_slide_screen" },
    { "mem",   "sound_play", notify_prepare_sound_play },
    { "nvram", "light" },
    { "nvram", "motor" },
    { "nvram", "motion_detection_enable" },
    { "nvram", "full_color" },
    { "nvram", "watermark" },
    { "nvram", "flip" },
    { "nvram", "wdr" },
    { "nvram", "improve_program" },
    { "mem",   "sdcard_status" },
    { "nvram", "motion_record" },
    { "nvram", "night_mode" },
    { "nvram", "motion_alarm" },
    { "nvram", "motion_region" },
    { "nvram", "max_client" },
    { "nvram", "language" },
    { "nvram", "bind_status" },
    { "mem",   "track_switch" },
    { "mem",   "detection_start" },
    { "mem",   "detection_end" },
    { "mem",   "time_night" },
    { "nvram", "lsd_switch" },
    { "nvram", "lsd_push" },
    { "nvram", "lsd_sensity" },
    { "nvram", "motion_alarm_interval" },
    { "nvram", "sd_total" },
    { "nvram", "sd_free" },
    { "nvram", "sd_used" },
    { "nvram", "did" },
    { "mem",   "flag_pull_spec_properties" },
    { "nvram", "flag_set_default_spec" },
    { "nvram", "human_detection_enable" },
    { "nvram", "report_motion_detection_switch" },
    { "nvram", "loud_detection_enable" },
};
// clang-format on

// Watched on a bound camera only.
inline constexpr watched_key watched_when_bound = { "nvram", "power" };
