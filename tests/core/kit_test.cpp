// SPDX-License-Identifier: MIT
// The state record: what a daemon finds that has just started, and the order and width of the fields.
#include "fakes/kit_desk.h"

#include <algorithm>
#include <cstddef>

static const kit_state &at_start = kit_at_start.record;

TEST(state_at_start, has_an_empty_poll_set_and_no_link)
{
    EXPECT_EQ(at_start.nfds, 0);
    for (const pollfd &entry : at_start.pollfds) {
        EXPECT_EQ(entry.fd, 0);
        EXPECT_EQ(entry.events, 0);
        EXPECT_EQ(entry.revents, 0);
    }
    EXPECT_EQ(at_start.timer_fd, 0);
    EXPECT_EQ(at_start.otd_sock, 0);
    EXPECT_EQ(at_start.mc_fd, 0);
    EXPECT_EQ(at_start.sound_fd, 0);
}

TEST(state_at_start, has_the_five_settings_on_that_default_to_on)
{
    EXPECT_EQ(at_start.power, 1);
    EXPECT_EQ(at_start.light, 1);
    EXPECT_EQ(at_start.motion_enable, 1);
    EXPECT_EQ(at_start.color, 1);
    EXPECT_EQ(at_start.watermark, 1);
}

TEST(state_at_start, has_every_other_flag_off)
{
    for (uint8_t flag :
         { at_start.exiting, at_start.status_received, at_start.wdr, at_start.ota, at_start.flip,
           at_start.track_switch, at_start.tracking, at_start.rebooting, at_start.improve_program })
        EXPECT_EQ(flag, 0);
}

TEST(state_at_start, has_every_number_at_zero)
{
    for (int32_t number : { at_start.night, at_start.card_status, at_start.max_client, at_start.motion_record,
                            at_start.night_count, at_start.start_hour, at_start.start_min, at_start.start_sec,
                            at_start.end_hour, at_start.end_min, at_start.end_sec })
        EXPECT_EQ(number, 0);
}

TEST(state_at_start, has_no_time_stamp)
{
    for (uint32_t stamp :
         { at_start.key_press_time, at_start.time_set_at, at_start.reconnect_time, at_start.reboot_time,
           at_start.bind_wait_time, at_start.track_time, at_start.stat_report_time })
        EXPECT_EQ(stamp, 0U);
}

TEST(state_at_start, has_its_globals_at_their_defaults)
{
    EXPECT_STREQ(kit_at_start.did, "");
    EXPECT_STREQ(kit_at_start.prompts, "");
    EXPECT_EQ(kit_at_start.position_h, 50);
    EXPECT_EQ(kit_at_start.position_v, 50);
    EXPECT_EQ(kit_at_start.motor_ms, 0);
    EXPECT_EQ(kit_at_start.stream, -1);
    EXPECT_EQ(kit_at_start.reset_flag, 1);
    EXPECT_EQ(kit_at_start.level, 1);
    EXPECT_EQ(kit_at_start.rpc_id, 0);
    EXPECT_EQ(kit_at_start.origin, 0);
}

TEST(state_record, has_its_fields_in_order_and_width)
{
    const size_t offsets[] = {
        offsetof(kit_state, pollfds),
        offsetof(kit_state, nfds),
        offsetof(kit_state, timer_fd),
        offsetof(kit_state, otd_sock),
        offsetof(kit_state, mc_fd),
        offsetof(kit_state, sound_fd),
        offsetof(kit_state, night),
        offsetof(kit_state, card_status),
        offsetof(kit_state, max_client),
        offsetof(kit_state, motion_record),
        offsetof(kit_state, night_count),
        offsetof(kit_state, exiting),
        offsetof(kit_state, status_received),
        offsetof(kit_state, wdr),
        offsetof(kit_state, power),
        offsetof(kit_state, ota),
        offsetof(kit_state, light),
        offsetof(kit_state, motion_enable),
        offsetof(kit_state, color),
        offsetof(kit_state, watermark),
        offsetof(kit_state, flip),
        offsetof(kit_state, track_switch),
        offsetof(kit_state, tracking),
        offsetof(kit_state, rebooting),
        offsetof(kit_state, improve_program),
        offsetof(kit_state, key_press_time),
        offsetof(kit_state, time_set_at),
        offsetof(kit_state, reconnect_time),
        offsetof(kit_state, reboot_time),
        offsetof(kit_state, bind_wait_time),
        offsetof(kit_state, track_time),
        offsetof(kit_state, ircut_report_time),
        offsetof(kit_state, stat_report_time),
        offsetof(kit_state, sysinfo_due),
        offsetof(kit_state, start_hour),
        offsetof(kit_state, start_min),
        offsetof(kit_state, start_sec),
        offsetof(kit_state, end_hour),
        offsetof(kit_state, end_min),
        offsetof(kit_state, end_sec),
    };
    const size_t expected[] = { 0,   80,  84,  88,  92,  96,  100, 104, 108, 112, 116, 120, 121, 122,
                                123, 124, 125, 126, 127, 128, 129, 130, 131, 132, 133, 136, 140, 144,
                                148, 152, 156, 160, 164, 168, 172, 176, 180, 184, 188, 192 };
    EXPECT_TRUE(std::equal(std::begin(offsets), std::end(offsets), std::begin(expected), std::end(expected)));
    EXPECT_EQ(sizeof(kit_state), 196U);
    EXPECT_EQ(sizeof(pollfd), 8U);
}

TEST(state_record, has_text_settings_of_their_width)
{
    EXPECT_EQ(sizeof(g_did), 32U);
    EXPECT_EQ(sizeof(language), 8U);
    EXPECT_EQ(sizeof(motion_alarm_cfg), 32U);
    EXPECT_EQ(sizeof(motion_region_cfg), 80U);
}
