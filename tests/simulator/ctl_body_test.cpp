// SPDX-License-Identifier: MIT
// What the tool understands of times, keys and clocks, before it asks a camera.
#include "ctl/body.h"
#include "ctl/duration.h"

#include <gtest/gtest.h>

TEST(a_duration, has_a_whole_number_and_a_unit)
{
    EXPECT_EQ(duration_ms("500ms"), 500);
    EXPECT_EQ(duration_ms("2s"), 2000);
    EXPECT_EQ(duration_ms("30m"), 1'800'000);
    EXPECT_EQ(duration_ms("24h"), 86'400'000);
    EXPECT_EQ(duration_ms("7d"), 604'800'000);
    EXPECT_EQ(duration_ms("0s"), 0);
}

TEST(a_duration, is_not_any_other_text)
{
    for (const char *text :
         { "", "2", "s", "2 s", " 2s", "2s ", "-2s", "+2s", "2.5s", "2S", "2w", "s2", "2ms3" })
        EXPECT_EQ(duration_ms(text), -1) << text;
}

TEST(a_duration, is_no_longer_than_a_century)
{
    EXPECT_EQ(duration_ms("36500d"), INT64_C(36500) * 86'400'000);
    EXPECT_EQ(duration_ms("36501d"), -1);
    EXPECT_EQ(duration_ms("999999999999999d"), -1);
    EXPECT_EQ(duration_ms("99999999999999999999ms"), -1);
}

static ctl_request asking(const char *word)
{
    ctl_request request;
    request.options.json = true;
    request.arguments = { word };
    return request;
}

TEST(a_held_key, wants_a_time)
{
    for (const char *word : { "2", "long", "0s", "-1s" }) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(hold_key(asking(word)), ctl_could_not);
        const std::string said = testing::internal::GetCapturedStdout();
        EXPECT_NE(said.find("is no time to hold a key; write 500ms, 2s"), std::string::npos) << said;
    }
}

TEST(a_stepped_clock, goes_ahead_and_says_so)
{
    for (const char *word : { "30m", "-30m", "+30", "+", "+0s", "++2s" }) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(show_or_step_clock(asking(word)), ctl_could_not);
        const std::string said = testing::internal::GetCapturedStdout();
        EXPECT_NE(said.find("the clock goes ahead by a time such as +500ms"), std::string::npos) << said;
    }
}
