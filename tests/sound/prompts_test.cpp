// SPDX-License-Identifier: MIT
// The catalogue of prompts.
#include "sound/prompts.h"

#include <gtest/gtest.h>

TEST(prompts, are_fifty_one)
{
    EXPECT_EQ(std::size(sound_prompts), 51U);
}

TEST(prompts, have_the_names_of_their_files)
{
    EXPECT_STREQ(sound_prompt_name(0), "binding_fail");
    EXPECT_STREQ(sound_prompt_name(3), "connecting_pease_wait");
    EXPECT_STREQ(sound_prompt_name(17), "numb_zero");
    EXPECT_STREQ(sound_prompt_name(26), "numb_nine");
    EXPECT_STREQ(sound_prompt_name(34), "device_ready");
    EXPECT_STREQ(sound_prompt_name(42), "30_min_before_the_end_of_exam");
    EXPECT_STREQ(sound_prompt_name(50), "sound_alarm_tarnek");
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
