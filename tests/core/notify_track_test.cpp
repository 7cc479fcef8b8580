// SPDX-License-Identifier: MIT
// The keys of tracking: the moves, and the switch.
#include "core/notify.h"

#include "fakes/channel_desk.h"

#include <cerrno>

struct track : store_open_desk {
    track()
    {
        kit.track_switch = 1;
        motor_position_h = 12;
        motor_position_v = 34;
        platform.monotonic_s = 4321;
        platform.realtime_ms = 1700000010000;
    }

    static void moved(int64_t ms_ago)
    {
        motor_time = static_cast<int64_t>(platform.realtime_ms) - ms_ago;
    }

    // The story without the line that says that no property has the key.
    static texts after_the_report()
    {
        texts lines = story();
        EXPECT_EQ(lines.front(), "err: [nubo_spec_handle_properties_changed][1262]unknown key : track");
        lines.erase(lines.begin());
        return lines;
    }
};

static std::string turns(int operation, int degrees)
{
    return "torvu_motor_control(" + std::to_string(operation) + ", " + std::to_string(degrees) + ", -1)";
}

static const char goes_back[] = R"(torvu_motor_control(11, "[12,34]", 16))";

TEST_F(track, turns_the_head_and_does_not_wait_for_it)
{
    platform.motor_running = 1;
    selvar_notify_handler("track", "[30,-15,0]");
    EXPECT_EQ(after_the_report(), (texts{ "debug: degree h:30, v:-15\n", turns(7, 30), turns(10, 15) }));
    EXPECT_EQ(kit.track_time, 4321U);
    EXPECT_EQ(kit.tracking, 1);
}

struct tracking_row {
    const char *name;
    const char *value;
    uint8_t flip;
    texts turned;
};

struct tracking_move : track, testing::WithParamInterface<tracking_row> {};

TEST_P(tracking_move, goes_by_sign_and_flip)
{
    kit.flip = GetParam().flip;
    selvar_notify_handler("track", GetParam().value);
    EXPECT_EQ(calls(), GetParam().turned);
    EXPECT_EQ(kit.tracking, 1);
}

// clang-format off
static const tracking_row tracking_rows[] = {
    { "right",          "[30,0,0]",  0, { turns(7, 30) } },
    { "right_flipped",  "[30,0,0]",  1, { turns(8, 30) } },
    { "left",           "[-30,0,0]", 0, { turns(8, 30) } },
    { "left_flipped",   "[-30,0,0]", 1, { turns(7, 30) } },
    { "up",             "[0,15,0]",  0, { turns(9, 15) } },
    { "up_flipped",     "[0,15,0]",  1, { turns(10, 15) } },
    { "down",           "[0,-15,0]", 0, { turns(10, 15) } },
    { "down_flipped",   "[0,-15,0]", 1, { turns(9, 15) } },
    { "neither",        "[0,0,0]",   0, {} },
    { "cut",            "[30",       0, { turns(7, 30) } },
    { "no_numbers",     "on",        0, {} },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(values, tracking_move, testing::ValuesIn(tracking_rows),
                         [](const auto &row) { return row.param.name; });

TEST_F(track, is_held_by_the_guard)
{
    kit.track_switch = 0;
    selvar_notify_handler("track", "[30,-15,0]");
    EXPECT_EQ(after_the_report(), (texts{ "debug: check_track_enable track_switch false!\n",
                                          "debug: check_track_enable failed!\n" }));
    EXPECT_EQ(kit.track_time, 0U);
    EXPECT_EQ(kit.tracking, 0);
}

TEST_F(track, does_not_ask_whether_the_camera_is_on)
{
    kit.power = 0;
    selvar_notify_handler("track", "[30,0,0]");
    EXPECT_EQ(calls(), texts{ turns(7, 30) });
}

TEST_F(track, stop_sends_the_head_back)
{
    kit.track_time = 4316;
    kit.tracking = 1;
    moved(6000);
    selvar_notify_handler("track", "stop");
    EXPECT_EQ(after_the_report(), texts{ goes_back });
    EXPECT_EQ(kit.track_time, 0U);
    EXPECT_EQ(kit.tracking, 0);
}

TEST_F(track, stop_sends_the_head_back_while_tracking_is_switched_off)
{
    kit.track_switch = 0;
    selvar_notify_handler("track", "stop");
    EXPECT_EQ(calls(), texts{ goes_back });
}

struct track_stop_row {
    const char *name;
    int64_t ms_ago;
    bool refused;
};

struct track_stop : track, testing::WithParamInterface<track_stop_row> {};

TEST_P(track_stop, is_refused_within_five_seconds_of_a_movement)
{
    kit.track_time = 4316;
    kit.tracking = 1;
    moved(GetParam().ms_ago);
    selvar_notify_handler("track", "stop");
    bool refused = GetParam().refused;
    EXPECT_EQ(after_the_report(),
              texts{ refused ? "err: motor is moving , can't reset position.\n" : goes_back });
    EXPECT_EQ(kit.track_time, refused ? 4316U : 0U);
    EXPECT_EQ(kit.tracking, refused ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(moments, track_stop,
                         testing::Values(track_stop_row{ "three_seconds", 3000, true },
                                         track_stop_row{ "just_under_five", 4999, true },
                                         track_stop_row{ "five", 5000, false },
                                         track_stop_row{ "six", 6000, false },
                                         track_stop_row{ "clock_went_back", -1, false },
                                         track_stop_row{ "more_than_32_bits", INT64_C(4294967297), false }),
                         [](const auto &row) { return row.param.name; });

struct track_switch : channel_desk {};

TEST_F(track_switch, on_starts_the_rotation_channel)
{
    kit.track_switch = 0;
    selvar_notify_handler("track_switch", "on");
    EXPECT_EQ(kit.track_switch, 1);
    EXPECT_TRUE(in_order({ "pthread_create(default attributes)",
                           "err: create motor_shm_task_thread success\n", "debug: kit.track_switch: 1\n" }));
    EXPECT_TRUE(worker_looks());
}

TEST_F(track_switch, on_twice_keeps_the_one_worker)
{
    selvar_notify_handler("track_switch", "on");
    selvar_notify_handler("track_switch", "on");
    EXPECT_EQ(threads_started(), 1);
}

struct track_switch_off : track_switch, testing::WithParamInterface<const char *> {};

TEST_P(track_switch_off, ends_the_rotation_channel)
{
    selvar_notify_handler("track_switch", "on");
    selvar_notify_handler("track_switch", GetParam());
    EXPECT_EQ(kit.track_switch, 0);
    EXPECT_TRUE(logged("debug: kit.track_switch: 0\n"));
    EXPECT_TRUE(soon("err: motor_shm_rotate_task_thread exit normal\n"));
    EXPECT_EQ(segments_alive(), 0);
}

INSTANTIATE_TEST_SUITE_P(values, track_switch_off, testing::Values("off", "", "ON", "one"));

TEST_F(track_switch, on_without_a_thread_still_allows_tracking)
{
    thread_creation_gives(EAGAIN);
    kit.track_switch = 0;
    selvar_notify_handler("track_switch", "on");
    EXPECT_EQ(kit.track_switch, 1);
    EXPECT_TRUE(log_mentions("create motor_shm_task_thread fail ret = "));
}

TEST_F(track_switch, without_a_value_changes_nothing)
{
    selvar_notify_handler("track_switch", nullptr);
    EXPECT_EQ(kit.track_switch, 1);
    EXPECT_EQ(threads_started(), 0);
}
