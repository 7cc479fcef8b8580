// SPDX-License-Identifier: MIT
#include "stage/restart.h"

#include <gtest/gtest.h>

TEST(restart_pause, is_100_ms_after_the_first_life)
{
    EXPECT_EQ(restart_pause_ms(0, 0), 100);
    EXPECT_EQ(restart_pause_ms(0, 9'999), 100);
}

TEST(restart_pause, doubles_with_each_short_life_up_to_5_s)
{
    const int expected[] = { 100, 200, 400, 800, 1600, 3200, 5000, 5000 };
    int pause_ms = 0;
    for (int next : expected) {
        pause_ms = restart_pause_ms(pause_ms, 0);
        EXPECT_EQ(pause_ms, next);
    }
}

TEST(restart_pause, still_grows_after_a_life_just_under_10_s)
{
    EXPECT_EQ(restart_pause_ms(800, 9'999), 1600);
}

TEST(restart_pause, begins_again_after_a_life_of_10_s)
{
    EXPECT_EQ(restart_pause_ms(800, 10'000), 100);
    EXPECT_EQ(restart_pause_ms(5000, 3'600'000), 100);
}
