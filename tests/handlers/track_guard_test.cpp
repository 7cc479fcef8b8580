// SPDX-License-Identifier: MIT
// When tracking may move the head.
#include "handlers/motor_commands.h"

#include "fakes/daemon_desk.h"

struct track_guard : kit_desk {
    track_guard()
    {
        kit.track_switch = 1;
        platform.realtime_ms = 1700000010000;
    }
};

TEST_F(track_guard, lets_tracking_through)
{
    EXPECT_EQ(check_track_enable(), 1);
    EXPECT_EQ(story(), texts{});
}

struct flag_row {
    const char *name;
    void (*given)();
    const char *log;
};

struct track_flag : track_guard, testing::WithParamInterface<flag_row> {};

TEST_P(track_flag, holds_tracking)
{
    GetParam().given();
    EXPECT_EQ(check_track_enable(), 0);
    EXPECT_EQ(story(), texts{ GetParam().log });
}

static const char switched_off[] = "debug: check_track_enable track_switch false!\n";
static const char reboots[] = "debug: device rebooting, don't allow track!\n";

// Tracking is on only at 1, a reboot is under way at anything but 0.
INSTANTIATE_TEST_SUITE_P(
    flags, track_flag,
    testing::Values(flag_row{ "switch_at_0", [] { kit.track_switch = 0; }, switched_off },
                    flag_row{ "switch_at_2", [] { kit.track_switch = 2; }, switched_off },
                    flag_row{ "rebooting_at_1", [] { kit.rebooting = 1; }, reboots },
                    flag_row{ "rebooting_at_2", [] { kit.rebooting = 2; }, reboots }),
    [](const auto &row) { return row.param.name; });

TEST_F(track_guard, looks_at_the_switch_first)
{
    kit.track_switch = 0;
    kit.rebooting = 1;
    check_track_enable();
    EXPECT_EQ(story(), texts{ switched_off });
}

struct moved_row {
    const char *name;
    int64_t ago_ms;
    bool held;
};

struct head_that_moved : track_guard, testing::WithParamInterface<moved_row> {};

TEST_P(head_that_moved, holds_tracking_for_five_seconds)
{
    motor_time = static_cast<int64_t>(platform.realtime_ms) - GetParam().ago_ms;
    EXPECT_EQ(check_track_enable(), GetParam().held ? 0 : 1);
    EXPECT_EQ(story(), GetParam().held ? texts{ "debug: check_track_enable motor_time < 5000!\n" } : texts{});
}

INSTANTIATE_TEST_SUITE_P(moments, head_that_moved,
                         testing::Values(moved_row{ "now", 0, true }, moved_row{ "just_under", 4999, true },
                                         moved_row{ "five_seconds", 5000, false },
                                         moved_row{ "long_ago", 86400000, false },
                                         moved_row{ "in_the_future", -1, false },
                                         moved_row{ "far_in_the_future", -86400000, false },
                                         moved_row{ "more_than_32_bits", INT64_C(4294967296), false }),
                         [](const auto &row) { return row.param.name; });

TEST_F(track_guard, does_not_take_the_first_seconds_of_an_unset_clock_for_a_movement)
{
    platform.realtime_ms = 1200;
    EXPECT_EQ(check_track_enable(), 1);
}
