// SPDX-License-Identifier: MIT
// The keys that move the head.
#include "core/notify.h"

#include "fakes/daemon_desk.h"

struct head : store_open_desk {
    static texts motor_calls()
    {
        return calls_of("torvu_motor_control");
    }
};

static std::string step(int operation)
{
    return "torvu_motor_control(" + std::to_string(operation) + ", \"\", 16)";
}

struct step_row {
    const char *name;
    int operation;
    int when_flipped;
    const char *refused;
};

struct manual_step : head, testing::WithParamInterface<step_row> {
    static void commanded()
    {
        selvar_notify_handler("motor_cmd", ("[0," + std::to_string(GetParam().operation) + ",0]").c_str());
    }
};

TEST_P(manual_step, turns_the_head)
{
    commanded();
    EXPECT_EQ(motor_calls(), texts{ step(GetParam().operation) });
    EXPECT_FALSE(log_mentions("overflow"));
}

TEST_P(manual_step, turns_the_other_way_when_the_picture_is_flipped)
{
    kit.flip = 1;
    commanded();
    EXPECT_EQ(motor_calls(), texts{ step(GetParam().when_flipped) });
}

TEST_P(manual_step, logs_a_refusal_by_what_was_asked_for)
{
    for (uint8_t flip : { uint8_t{ 0 }, uint8_t{ 1 } }) {
        record_clear();
        kit.flip = flip;
        platform.motor_result = -1;
        commanded();
        EXPECT_TRUE(logged(GetParam().refused));
    }
}

INSTANTIATE_TEST_SUITE_P(directions, manual_step,
                         testing::Values(step_row{ "left", 1, 2, "err: left overflow\n" },
                                         step_row{ "right", 2, 1, "err: right overflow\n" },
                                         step_row{ "up", 3, 4, "debug: up overflow\n" },
                                         step_row{ "down", 4, 3, "debug: down overflow\n" }),
                         [](const auto &row) { return row.param.name; });

TEST_F(head, the_reset_goes_to_the_centre)
{
    selvar_notify_handler("motor_cmd", "[0,5,0]");
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(5, "[50,50]", 16))" });
    EXPECT_TRUE(logged("debug: motor reset!\n"));
}

TEST_F(head, operation_6_passes_an_empty_text)
{
    selvar_notify_handler("motor_cmd", "[0,6,0]");
    EXPECT_EQ(motor_calls(), texts{ step(6) });
}

struct unknown_operation : head, testing::WithParamInterface<int> {};

TEST_P(unknown_operation, is_logged_and_moves_nothing)
{
    std::string number = std::to_string(GetParam());
    selvar_notify_handler("motor_cmd", ("[0," + number + ",0]").c_str());
    EXPECT_EQ(motor_calls(), texts{});
    EXPECT_TRUE(logged("err: selvar_notify_handler: set_motor unknown operation:" + number + "\n"));
}

INSTANTIATE_TEST_SUITE_P(operations, unknown_operation, testing::Values(0, 7, 11, 12, 100));

TEST_F(head, the_stream_that_asked_is_remembered)
{
    selvar_notify_handler("motor_cmd", "[3,1,0]");
    EXPECT_EQ(av_index, 3);
}

struct bad_motor_command {
    const char *name;
    const char *value;
    const char *shown;
    int stream;
};

struct refused_motor_command : head, testing::WithParamInterface<bad_motor_command> {};

TEST_P(refused_motor_command, moves_nothing_and_stamps_nothing)
{
    av_index = 9;
    selvar_notify_handler("motor_cmd", GetParam().value);
    EXPECT_EQ(motor_calls(), texts{});
    EXPECT_EQ(motor_time, 0);
    EXPECT_FALSE(log_mentions("sound ban"));
    EXPECT_TRUE(logged("err: motor msg error, " + std::string(GetParam().shown)));
    EXPECT_EQ(av_index, GetParam().stream);
}

INSTANTIATE_TEST_SUITE_P(values, refused_motor_command,
                         testing::Values(bad_motor_command{ "negative_operation", "[0,-1,0]", "[-1,0]", 0 },
                                         bad_motor_command{ "negative_third", "[0,1,-2]", "[1,-2]", 0 },
                                         bad_motor_command{ "third_missing", "[2,1]", "[1,-1]", 2 },
                                         bad_motor_command{ "no_list", "left", "[-1,-1]", 9 },
                                         bad_motor_command{ "empty", "", "[-1,-1]", 9 }),
                         [](const auto &row) { return row.param.name; });

struct stamping_row {
    int operation;
    bool stamps;
};

struct stamped_movement : head, testing::WithParamInterface<stamping_row> {};

TEST_P(stamped_movement, is_one_below_operation_6)
{
    platform.realtime_ms = 1700000000123;
    platform.monotonic_s = 4321;
    kit.track_time = 7;
    selvar_notify_handler("motor_cmd", ("[0," + std::to_string(GetParam().operation) + ",0]").c_str());
    EXPECT_EQ(motor_time, GetParam().stamps ? 1700000000123 : 0);
    EXPECT_EQ(kit.track_time, GetParam().stamps ? 4321U : 7U);
}

INSTANTIATE_TEST_SUITE_P(operations, stamped_movement,
                         testing::Values(stamping_row{ 0, true }, stamping_row{ 1, true },
                                         stamping_row{ 4, true }, stamping_row{ 5, true },
                                         stamping_row{ 6, false }, stamping_row{ 7, false }));

struct muted_movement : stamped_movement {};

TEST_P(muted_movement, is_one_below_operation_6)
{
    bus.player_listens = true;
    sound_init(nullptr);
    record_clear();
    selvar_notify_handler("motor_cmd", ("[0," + std::to_string(GetParam().operation) + ",0]").c_str());
    EXPECT_EQ(bus_messages().size(), GetParam().stamps ? 1U : 0U);
    EXPECT_EQ(called(R"(wrax_rcv_send_message("SOUND_BAN", 9))"), GetParam().stamps);
    sound_exit();
}

INSTANTIATE_TEST_SUITE_P(operations, muted_movement,
                         testing::Values(stamping_row{ 0, true }, stamping_row{ 1, true },
                                         stamping_row{ 5, true }, stamping_row{ 6, false },
                                         stamping_row{ 7, false }));

TEST_F(head, the_player_is_muted_before_the_head_turns)
{
    bus.player_listens = true;
    sound_init(nullptr);
    record_clear();
    selvar_notify_handler("motor_cmd", "[0,1,0]");
    EXPECT_TRUE(in_order({ "debug: sound ban\n", R"(wrax_rcv_send_message("SOUND_BAN", 9))", step(1) }));
    sound_exit();
}

TEST_F(head, without_a_player_the_head_turns_all_the_same)
{
    selvar_notify_handler("motor_cmd", "[0,1,0]");
    EXPECT_TRUE(in_order({ "err: sound ban wrax msg handle have not been created!\n", step(1) }));
    EXPECT_NE(motor_time, 0);
}

TEST_F(head, a_movement_does_not_begin_a_tracking_time)
{
    selvar_notify_handler("motor_cmd", "[0,1,0]");
    EXPECT_EQ(kit.track_time, 0U);
}

static const std::string taken_up = mem_set("motor_reset", "1");

TEST_F(head, the_stored_position_moves_the_head_there_once)
{
    selvar_notify_handler("motor", "[12,34]");
    EXPECT_EQ(motor_position_h, 12);
    EXPECT_EQ(motor_position_v, 34);
    EXPECT_TRUE(in_order({ "debug: motor h:12, v:34\n", "debug: motor reset : [12,34]!",
                           R"(torvu_motor_control(5, "[12,34]", 16))", taken_up }));
    EXPECT_EQ(motor_reset_flag, 0);

    record_clear();
    selvar_notify_handler("motor", "[13,35]");
    EXPECT_EQ(motor_position_h, 13);
    EXPECT_EQ(motor_position_v, 35);
    EXPECT_EQ(motor_calls(), texts{});
    EXPECT_FALSE(log_mentions("motor reset"));
}

TEST_F(head, the_text_of_the_stored_position_goes_to_the_motor_with_15_characters)
{
    selvar_notify_handler("motor", "[12,34] and more text");
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(5, "[12,34] and mor", 16))" });
}

TEST_F(head, without_a_stored_position_the_head_goes_where_the_daemon_believes_it_is)
{
    motor_position_h = 20;
    motor_position_v = 30;
    selvar_notify_handler("motor", nullptr);
    EXPECT_TRUE(
        in_order({ "warning: key: motor, msg: null\n", "info: motor default process\n",
                   "debug: motor reset : [20,30]!", R"(torvu_motor_control(5, "[20,30]", 16))", taken_up }));
    EXPECT_FALSE(log_mentions("motor h:"));
}

TEST_F(head, a_position_that_is_not_read_keeps_the_old_one)
{
    motor_position_h = 20;
    motor_position_v = 30;
    motor_reset_flag = 0;
    selvar_notify_handler("motor", "[7,x");
    EXPECT_EQ(motor_position_h, 7);
    EXPECT_EQ(motor_position_v, 30);
    EXPECT_TRUE(logged("debug: motor h:7, v:30\n"));
}

TEST_F(head, a_reset_that_is_asked_for_moves_the_head_again)
{
    selvar_notify_handler("motor", "[12,34]");
    selvar_notify_handler("motor_reset", "0");
    record_clear();
    selvar_notify_handler("motor", "[12,34]");
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(5, "[12,34]", 16))" });
}

TEST_F(head, a_finger_on_the_screen_slides_the_head)
{
    selvar_notify_handler("motor_slide_screen", "[2,12,100,-50]");
    EXPECT_EQ(av_index, 2);
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(12, "[100,-50]", 128))" });
    EXPECT_TRUE(logged("debug: motor_slide_screen buf:[100,-50]\n"));
}

TEST_F(head, a_slide_takes_its_text_up_to_the_first_blank)
{
    selvar_notify_handler("motor_slide_screen", "[2,12,100, 50]");
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(12, "[100,0]", 128))" });
}

TEST_F(head, a_slide_takes_no_more_than_127_characters_of_its_text)
{
    const std::string as_much_as_fits = "7," + std::string(124, '0') + "5";
    const std::string value = "[2,12," + as_much_as_fits + std::string(300, '6') + "]";
    selvar_notify_handler("motor_slide_screen", value.c_str());
    EXPECT_EQ(motor_calls(), texts{ R"(torvu_motor_control(12, "[7,5]", 128))" });
    EXPECT_TRUE(logged("debug: motor_slide_screen buf:[7,5]\n"));
}

struct bad_slide {
    const char *name;
    const char *value;
    int operation; // as it is shown
    int stream;
};

struct refused_slide : head, testing::WithParamInterface<bad_slide> {};

TEST_P(refused_slide, moves_nothing_and_keeps_what_it_does_not_name)
{
    av_index = 9;
    selvar_notify_handler("motor_slide_screen", GetParam().value);
    EXPECT_EQ(calls(), texts{});
    EXPECT_TRUE(logged("err: motor_slide_screen:" + std::to_string(GetParam().operation) + " error\n"));
    EXPECT_FALSE(log_mentions("motor_slide_screen buf"));
    EXPECT_EQ(av_index, GetParam().stream);
}

INSTANTIATE_TEST_SUITE_P(values, refused_slide,
                         testing::Values(bad_slide{ "empty", "", 0, 9 },
                                         bad_slide{ "no_list", "no list", 0, 9 },
                                         bad_slide{ "stream_alone", "[2", 0, 2 },
                                         bad_slide{ "operation_missing", "[2,x", 0, 2 },
                                         bad_slide{ "negative_operation", "[2,-12,100,50]", -12, 2 }),
                         [](const auto &row) { return row.param.name; });

TEST_F(head, another_operation_of_a_slide_is_an_error)
{
    selvar_notify_handler("motor_slide_screen", "[2,11,100,50]");
    EXPECT_EQ(av_index, 2);
    EXPECT_EQ(motor_calls(), texts{});
    EXPECT_TRUE(logged("err: motor_slide_screen:11 error\n"));
}
