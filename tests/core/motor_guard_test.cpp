// SPDX-License-Identifier: MIT
// How long a movement of the head keeps tracking away: the tick forgets it long before the guard would.
#include "core/events.h"
#include "handlers/motor_commands.h"

#include "tick_desk.h"

struct moved_head : tick {
    moved_head()
    {
        kit.track_switch = 1;
        char position[] = "[1,40,60]";
        device_event_callback(3, position);
    }

    static void ticks_after(uint64_t ms)
    {
        platform.realtime_ms = moved_at + ms;
        ticks();
    }

    static constexpr uint64_t moved_at = 1700000000000;
};

TEST_F(moved_head, holds_tracking_until_the_tick_that_comes_a_second_later)
{
    ticks_after(0);
    EXPECT_EQ(check_track_enable(), 0);
    ticks_after(999);
    EXPECT_EQ(check_track_enable(), 0);
    EXPECT_TRUE(logged("debug: check_track_enable motor_time < 5000!\n"));
    ticks_after(1000);
    EXPECT_EQ(check_track_enable(), 1);
    EXPECT_FALSE(log_mentions("motor_time < 5000"));
}

TEST_F(moved_head, holds_tracking_for_five_seconds_where_no_tick_comes)
{
    platform.realtime_ms = moved_at + 4999;
    EXPECT_EQ(check_track_enable(), 0);
    platform.realtime_ms = moved_at + 5000;
    EXPECT_EQ(check_track_enable(), 1);
}

TEST_F(moved_head, that_moves_on_holds_tracking_from_its_last_movement)
{
    platform.realtime_ms = moved_at + 600;
    char at_rest[] = "[45,60]";
    device_event_callback(2, at_rest);
    ticks_after(1000);
    EXPECT_EQ(check_track_enable(), 0);
    ticks_after(1600);
    EXPECT_EQ(check_track_enable(), 1);
}
