// SPDX-License-Identifier: MIT
// One command of the rotation channel, carried out on the caller's thread.
#include "motor/rotation.h"

#include "fakes/daemon_desk.h"

#include <thread>

struct rotation : kit_desk {
    rotation()
    {
        kit.track_switch = 1;
        platform.monotonic_s = 4321;
        platform.realtime_ms = 1700000010000;
    }
};

static const std::string rests = "motor_running_dectect()";

static std::string turns(int operation, int degrees)
{
    return "torvu_motor_control(" + std::to_string(operation) + ", " + std::to_string(degrees) + ", -1)";
}

TEST_F(rotation, turns_both_axes_and_waits_after_each)
{
    shm_message(0, "[30,-15,0]");
    EXPECT_EQ(story(), (texts{ "err: rotate = [30,-15,0]\n", "debug: degree h:30, v:-15\n", turns(7, 30),
                               rests, turns(10, 15), rests }));
    EXPECT_EQ(kit.track_time, 4321U);
    EXPECT_EQ(kit.tracking, 1);
}

struct turn_row {
    const char *name;
    const char *command;
    uint8_t flip;
    texts turned;
};

struct turning : rotation, testing::WithParamInterface<turn_row> {};

TEST_P(turning, goes_by_sign_and_flip)
{
    kit.flip = GetParam().flip;
    shm_message(0, GetParam().command);
    EXPECT_EQ(calls_of("torvu_motor_control"), GetParam().turned);
    EXPECT_EQ(calls_of("motor_running_dectect").size(), 2U) << "also for an axis that stands";
}

// clang-format off
static const turn_row turn_rows[] = {
    { "right",             "[30,0,0]",           0, { turns(7, 30) } },
    { "right_flipped",     "[30,0,0]",           1, { turns(8, 30) } },
    { "left",              "[-30,0,0]",          0, { turns(8, 30) } },
    { "left_flipped",      "[-30,0,0]",          1, { turns(7, 30) } },
    { "up",                "[0,15,0]",           0, { turns(9, 15) } },
    { "up_flipped",        "[0,15,0]",           1, { turns(10, 15) } },
    { "down",              "[0,-15,0]",          0, { turns(10, 15) } },
    { "down_flipped",      "[0,-15,0]",          1, { turns(9, 15) } },
    { "flipped_at_2",      "[30,-15,0]",         2, { turns(8, 30), turns(9, 15) } },
    { "both_flipped",      "[30,-15,0]",         1, { turns(8, 30), turns(9, 15) } },
    { "neither",           "[0,0,7]",            0, {} },
    { "third_missing",     "[30,-15]",           0, { turns(7, 30), turns(10, 15) } },
    { "second_missing",    "[30",                0, { turns(7, 30) } },
    { "as_little_as_int",  "[-2147483648,0,0]",  0, { turns(8, 2147483647) } },
    { "no_numbers",        "sideways",           0, {} },
    { "empty",             "",                   0, {} },
    { "stop_with_more",    "stop ",              0, {} },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(commands, turning, testing::ValuesIn(turn_rows),
                         [](const auto &row) { return row.param.name; });

TEST_F(rotation, by_a_bad_text_turns_nothing_but_is_under_way)
{
    shm_message(0, "sideways");
    EXPECT_EQ(kit.track_time, 4321U);
    EXPECT_EQ(kit.tracking, 1);
    EXPECT_TRUE(logged("debug: degree h:0, v:0\n"));
}

TEST_F(rotation, is_not_begun_while_the_camera_is_off)
{
    kit.power = 0;
    kit.track_time = 7;
    shm_message(0, "[30,-15,0]");
    EXPECT_EQ(story(), (texts{ "err: rotate = [30,-15,0]\n", "debug: check_track_enable failed!\n" }));
    EXPECT_EQ(kit.track_time, 7U);
    EXPECT_EQ(kit.tracking, 0);
}

TEST_F(rotation, is_begun_unless_the_power_is_0)
{
    kit.power = 2;
    shm_message(0, "[30,0,0]");
    EXPECT_EQ(calls_of("torvu_motor_control"), texts{ turns(7, 30) });
    EXPECT_EQ(kit.track_time, 4321U);
}

TEST_F(rotation, is_not_begun_where_tracking_is_held)
{
    kit.track_switch = 0;
    shm_message(0, "[30,-15,0]");
    EXPECT_EQ(story(),
              (texts{ "err: rotate = [30,-15,0]\n", "debug: check_track_enable track_switch false!\n",
                      "debug: check_track_enable failed!\n" }));
    EXPECT_EQ(kit.track_time, 0U);
    EXPECT_EQ(kit.tracking, 0);
}

// Rests at the third question of each wait.
TEST_F(rotation, waits_until_the_device_kit_reports_rest)
{
    platform.motor_moves_for = 2;
    shm_message(0, "[30,-15,0]");
    EXPECT_EQ(calls(), (texts{ turns(7, 30), rests, rests, rests, turns(10, 15), rests }));
}

struct stop : rotation {
    stop()
    {
        kit.track_time = 4316;
        kit.tracking = 1;
        motor_position_h = 12;
        motor_position_v = 34;
    }
};

TEST_F(stop, sends_the_head_back_and_does_not_wait)
{
    shm_message(0, "stop");
    EXPECT_EQ(story(), (texts{ "err: rotate = stop\n", R"(torvu_motor_control(11, "[12,34]", 16))" }));
    EXPECT_EQ(kit.track_time, 0U);
    EXPECT_EQ(kit.tracking, 0);
}

TEST_F(stop, is_carried_out_whatever_switches_say)
{
    kit.track_switch = 0;
    kit.power = 0;
    shm_message(0, "stop");
    EXPECT_EQ(calls(), texts{ R"(torvu_motor_control(11, "[12,34]", 16))" });
}

TEST_F(stop, of_a_head_that_never_rests_does_not_wait_for_it)
{
    platform.motor_running = 1;
    shm_message(0, "stop");
    EXPECT_EQ(calls_of("motor_running_dectect"), texts{});
    EXPECT_EQ(kit.track_time, 0U);
}

TEST_F(stop, of_a_far_position_is_cut_to_the_text_s_room)
{
    motor_position_h = -2000000000;
    motor_position_v = -2000000000;
    shm_message(0, "stop");
    EXPECT_EQ(calls(), texts{ R"(torvu_motor_control(11, "[-2000000000,-2", 16))" });
}

struct recent_row {
    const char *name;
    int64_t ago_ms;
    bool refused;
};

struct stop_after_movement : stop, testing::WithParamInterface<recent_row> {};

TEST_P(stop_after_movement, is_refused_within_five_seconds)
{
    motor_time = static_cast<int64_t>(platform.realtime_ms) - GetParam().ago_ms;
    shm_message(0, "stop");
    EXPECT_EQ(kit.track_time, GetParam().refused ? 4316U : 0U);
    EXPECT_EQ(kit.tracking, GetParam().refused ? 1 : 0);
    EXPECT_EQ(calls().empty(), GetParam().refused);
    EXPECT_EQ(static_cast<bool>(logged("err: motor is moving , can't reset position.\n")),
              GetParam().refused);
}

INSTANTIATE_TEST_SUITE_P(moments, stop_after_movement,
                         testing::Values(recent_row{ "now", 0, true },
                                         recent_row{ "three_seconds", 3000, true },
                                         recent_row{ "just_under_five", 4999, true },
                                         recent_row{ "five", 5000, false }, recent_row{ "six", 6000, false },
                                         recent_row{ "clock_went_back", -1, false }),
                         [](const auto &row) { return row.param.name; });

// No movement is a stamp like any other here: 0, which an unset clock has just left behind.
TEST_F(stop, is_refused_in_the_first_five_seconds_of_an_unset_clock)
{
    motor_time = 0;
    platform.realtime_ms = 4999;
    shm_message(0, "stop");
    EXPECT_TRUE(logged("err: motor is moving , can't reset position.\n"));
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(kit.track_time, 4316U);
    EXPECT_EQ(kit.tracking, 1);

    platform.realtime_ms = 5000;
    shm_message(0, "stop");
    EXPECT_EQ(calls(), texts{ R"(torvu_motor_control(11, "[12,34]", 16))" });
    EXPECT_EQ(kit.track_time, 0U);
}

// The head is held on its way by the test, so that the second command surely comes while the first runs.
TEST_F(rotation, drops_a_command_of_the_other_thread_while_one_is_carried_out)
{
    platform.motor_running = 1;
    std::thread worker([] { shm_message(0, "[30,0,0]"); });
    EXPECT_TRUE(soon(rests));
    shm_message(0, "stop");
    EXPECT_TRUE(logged("err: motor is already running ,drop this time rotate\n"));
    EXPECT_FALSE(log_mentions("rotate = stop"));
    EXPECT_EQ(kit.track_time, 4321U);
    shared(platform.motor_running).store(0);
    worker.join();

    shm_message(0, "stop");
    EXPECT_TRUE(logged("err: rotate = stop\n")) << "the next one is taken again";
}

TEST_F(rotation, of_a_head_that_never_rests_ends_with_the_daemon)
{
    platform.motor_running = 1;
    std::thread worker([] { shm_message(0, "[30,-15,0]"); });
    EXPECT_TRUE(soon(rests));
    shared(kit.exiting).store(1);
    worker.join();
    EXPECT_EQ(calls_of("torvu_motor_control"), texts{ turns(7, 30) }) << "nothing is begun any more";
}
