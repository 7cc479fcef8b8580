// SPDX-License-Identifier: MIT
// The catalogue of prompts.
#include "sound/prompts.h"

#include <gtest/gtest.h>

// clang-format off
static const char *const file_names[] = {
    "binding_fail",
    "binding_success",
    "booting",
    "connecting_pease_wait",
    "ding",
    "error",
    "qrcode_success",
    "qrcode_supported",
    "reset_success",
    "waiting_connection",
    "wifi_connected",
    "5GHz_wifi_supported",
    "no_internet",
    "wlan_passwd_err",
    "alarm1",
    "alarm2",
    "alarm3",
    "numb_zero",
    "numb_one",
    "numb_two",
    "numb_three",
    "numb_four",
    "numb_five",
    "numb_six",
    "numb_seven",
    "numb_eight",
    "numb_nine",
    "pincode_input",
    "pincode_supported1",
    "pincode_supported2",
    "wifi_connection_failed",
    "binding_fail_repeat",
    "binding_fail_timeout",
    "connect_cloud_fail",
    "device_ready",
    "wait_device_online",
    "dingding",
    "work_sound1",
    "rest_sound1",
    "work_sound2",
    "rest_sound2",
    "exam_start",
    "30_min_before_the_end_of_exam",
    "15_min_before_the_end_of_exam",
    "exam_end",
    "time_for_break",
    "time_for_study",
    "sit_well_please",
    "answer_connect_ring",
    "no_one_answer_try_again",
    "sound_alarm_tarnek",
};
// clang-format on

TEST(prompts, are_fifty_one)
{
    EXPECT_EQ(std::size(sound_prompts), 51U);
    EXPECT_EQ(std::size(file_names), 51U);
}

TEST(prompts, have_the_names_of_their_files)
{
    for (int id = 0; id < 51; id++)
        EXPECT_STREQ(sound_prompt_name(id), file_names[id]) << id;
}

TEST(prompts, of_the_daemons_own_have_names_in_the_code)
{
    EXPECT_STREQ(sound_prompt_name(sound_booting), "booting");
    EXPECT_STREQ(sound_prompt_name(sound_reset_success), "reset_success");
    EXPECT_STREQ(sound_prompt_name(sound_alarm1), "alarm1");
    EXPECT_STREQ(sound_prompt_name(sound_alarm2), "alarm2");
    EXPECT_STREQ(sound_prompt_name(sound_alarm3), "alarm3");
}

TEST(prompts, beyond_the_ends_of_the_catalogue_there_are_none)
{
    EXPECT_EQ(sound_prompt_name(-1), nullptr);
    EXPECT_EQ(sound_prompt_name(51), nullptr);
}
