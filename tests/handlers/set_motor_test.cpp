// SPDX-License-Identifier: MIT
// "set_motor": steps, the centre, a place; and what is refused.
#include "handlers/motor_commands.h"

#include "fakes/daemon_desk.h"
#include "fakes/memory.h"

struct set_motor : daemon_desk {
    // With id 7; the result.
    int asked(const std::string &params)
    {
        return sent(R"({"id":7,"method":"set_motor","params":)" + params + "}");
    }

    int sent(const std::string &message)
    {
        return otd_set_motor_process(message.c_str(), 7, reply, sizeof(reply));
    }

    char reply[1024] = "";
};

static std::string refusal(const std::string &message)
{
    return R"({"id":7,"error":{"code":-33020,"message":")" + message + "\"}}";
}

static std::string failure(const std::string &message)
{
    return R"({"id":7,"error":{"code":-4000,"message":")" + message + "\"}}";
}

static std::string position(int angle, int elevation)
{
    return R"({"id":7,"result":["OK"],"params":{"angle":)" + std::to_string(angle) + R"(,"elevation":)" +
           std::to_string(elevation) + "}}";
}

struct direction_row {
    const char *name;
    int code;
    const char *overflow;
};

struct step_by_app : set_motor, testing::WithParamInterface<direction_row> {
    int stepped()
    {
        return asked(R"({"operation":)" + std::to_string(GetParam().code) + "}");
    }
};

TEST_P(step_by_app, turns_the_head_and_answers_where_it_is)
{
    platform.motor_text = "[40,60]";
    EXPECT_EQ(stepped(), 0);
    EXPECT_EQ(calls(), texts{ "torvu_motor_control(" + std::to_string(GetParam().code) + ", \"\", 16)" });
    EXPECT_EQ(reply, position(40, 60));
    EXPECT_EQ(motor_position_h, 40);
    EXPECT_EQ(motor_position_v, 60);
    EXPECT_EQ(log_lines(), texts{ "debug: otd_set_motor_process: set_motor step: " +
                                  std::to_string(GetParam().code) + "\n" });
}

TEST_P(step_by_app, is_not_swapped_when_the_picture_is_flipped)
{
    kit.flip = 1;
    stepped();
    EXPECT_EQ(calls(), texts{ "torvu_motor_control(" + std::to_string(GetParam().code) + ", \"\", 16)" });
}

TEST_P(step_by_app, at_the_end_of_travel_is_a_failure_that_still_takes_over_the_position)
{
    platform.motor_result = -1;
    platform.motor_text = "[0,100]";
    EXPECT_EQ(stepped(), -1);
    EXPECT_EQ(reply, failure(GetParam().overflow));
    EXPECT_EQ(motor_position_h, 0);
    EXPECT_EQ(motor_position_v, 100);
}

INSTANTIATE_TEST_SUITE_P(directions, step_by_app,
                         testing::Values(direction_row{ "left", 1, "left overflow" },
                                         direction_row{ "right", 2, "right overflow" },
                                         direction_row{ "up", 3, "up overflow" },
                                         direction_row{ "down", 4, "down overflow" }),
                         [](const auto &row) { return row.param.name; });

TEST_F(set_motor, a_step_whose_position_does_not_match_keeps_the_old_one)
{
    motor_position_h = 11;
    motor_position_v = 22;
    EXPECT_EQ(asked(R"({"operation":1})"), 0);
    EXPECT_EQ(reply, position(11, 22));

    platform.motor_text = "[7,x";
    EXPECT_EQ(asked(R"({"operation":1})"), 0);
    EXPECT_EQ(reply, position(7, 22));
}

TEST_F(set_motor, a_device_kit_that_fills_the_whole_text_does_no_harm)
{
    platform.motor_text = "[1,            2";
    ASSERT_EQ(platform.motor_text.size(), 16U);
    EXPECT_EQ(asked(R"({"operation":2})"), 0);
    EXPECT_EQ(reply, position(1, 2));
}

TEST_F(set_motor, a_reset_goes_to_the_centre_and_stores_it)
{
    motor_position_h = 11;
    motor_position_v = 22;
    EXPECT_EQ(asked(R"({"operation":5})"), 0);
    EXPECT_EQ(calls(), (texts{ R"(torvu_motor_control(5, "[50,50]", 16))", nvram_set("motor", "[50,50]") }));
    EXPECT_EQ(reply, position(50, 50));
    EXPECT_EQ(motor_position_h, 50);
    EXPECT_EQ(motor_position_v, 50);
}

TEST_F(set_motor, a_reset_of_a_busy_head_fails_and_stores_nothing)
{
    motor_position_h = 11;
    motor_position_v = 22;
    platform.motor_result = -1;
    EXPECT_EQ(asked(R"({"operation":5})"), -1);
    EXPECT_EQ(reply, failure("reset busying"));
    EXPECT_EQ(calls(), texts{ R"(torvu_motor_control(5, "[50,50]", 16))" });
    EXPECT_EQ(motor_position_h, 11);
    EXPECT_EQ(motor_position_v, 22);
}

struct place_row {
    const char *name;
    const char *operation;
    const char *location;
    const char *text;
};

struct go_to : set_motor, testing::WithParamInterface<place_row> {
    int goes()
    {
        return asked(R"({"operation":)" + std::string(GetParam().operation) + R"(,"location":)" +
                     GetParam().location + "}");
    }
};

TEST_P(go_to, passes_the_text_on_and_answers_the_position_before_the_move)
{
    motor_position_h = 11;
    motor_position_v = 22;
    EXPECT_EQ(goes(), 0);
    std::string text = GetParam().text;
    EXPECT_EQ(calls(),
              texts{ "torvu_motor_control(11, \"" + text + "\", " + std::to_string(text.size()) + ")" });
    EXPECT_EQ(reply, position(11, 22));
    EXPECT_EQ(log_lines().back(), "info: get motor position: " + text + "\n");
}

TEST_P(go_to, does_not_look_at_the_result)
{
    platform.motor_result = -1;
    EXPECT_EQ(goes(), 0);
    EXPECT_EQ(reply, position(50, 50));
}

INSTANTIATE_TEST_SUITE_P(places, go_to,
                         testing::Values(place_row{ "code_6", "6", "[30,60]", "[ 30, 60 ]" },
                                         place_row{ "code_11", "11", "[30,60]", "[ 30, 60 ]" },
                                         place_row{ "as_a_text", "6", R"("[30,60]")", "[30,60]" },
                                         place_row{ "empty", "6", R"("")", "" },
                                         place_row{ "a_number", "11", "5", "5" }),
                         [](const auto &row) { return row.param.name; });

struct refused_row {
    const char *name;
    const char *message;
    const char *answer;
    const char *log; // a part of the last line; "": no line
};

struct refused_command : set_motor, testing::WithParamInterface<refused_row> {};

TEST_P(refused_command, is_answered_moves_nothing_and_fails)
{
    EXPECT_EQ(sent(GetParam().message), -1);
    EXPECT_EQ(reply, refusal(GetParam().answer));
    EXPECT_EQ(calls(), texts{});
    std::string part = GetParam().log;
    if (part.empty())
        EXPECT_EQ(log_lines(), texts{});
    else
        EXPECT_NE(log_lines().back().find(part), std::string::npos) << log_lines().back();
}

// clang-format off
static const refused_row refusals[] = {
    { "no_json",             "nonsense",                                  "joson parse error",       "debug: otd_set_motor_process: Not in json format: nonsense\n" },
    { "no_params",           R"({"id":7})",                               "params is NULL",          "" },
    { "no_operation",        R"({"params":{}})",                          "operation is NULL",       "" },
    { "params_of_a_list",    R"({"params":[1]})",                         "operation is NULL",       "" },
    { "params_null",         R"({"params":null})",                        "operation is NULL",       "" },
    { "operation_text",      R"({"params":{"operation":"1"}})",           "operation type is wrong", "" },
    { "operation_null",      R"({"params":{"operation":null}})",          "operation type is wrong", "" },
    { "operation_fraction",  R"({"params":{"operation":1.0}})",           "operation type is wrong", "" },
    { "operation_true",      R"({"params":{"operation":true}})",          "operation type is wrong", "" },
    { "operation_list",      R"({"params":{"operation":[1]}})",           "operation type is wrong", "" },
    { "operation_object",    R"({"params":{"operation":{}}})",            "operation type is wrong", "" },
    { "operation_0",         R"({"params":{"operation":0}})",             "unknown operation",       "err: otd_set_motor_process: set_motor unknown operation:0\n" },
    { "operation_7",         R"({"params":{"operation":7}})",             "unknown operation",       "err: otd_set_motor_process: set_motor unknown operation:7\n" },
    { "operation_10",        R"({"params":{"operation":10}})",            "unknown operation",       "err: otd_set_motor_process: set_motor unknown operation:10\n" },
    { "operation_12",        R"({"params":{"operation":12}})",            "unknown operation",       "err: otd_set_motor_process: set_motor unknown operation:12\n" },
    { "operation_negative",  R"({"params":{"operation":-1}})",            "unknown operation",       "err: otd_set_motor_process: set_motor unknown operation:-1\n" },
    { "code_6_no_location",  R"({"params":{"operation":6}})",             "location is NULL",        "] Get position location is null" },
    { "code_11_no_location", R"({"params":{"operation":11}})",            "location is NULL",        "err: [otd_set_motor_process:" },
    { "location_null",       R"({"params":{"operation":6,"location":null}})", "location is NULL",    "] Get position location is null" },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(messages, refused_command, testing::ValuesIn(refusals),
                         [](const auto &row) { return row.param.name; });

TEST_F(set_motor, while_the_camera_is_off_is_refused_without_a_look_at_the_request)
{
    kit.power = 0;
    EXPECT_EQ(sent("nonsense"), -1);
    EXPECT_EQ(reply, refusal("power off"));
    EXPECT_EQ(story(), texts{ "err: Power status current is OFF, Could not set motor\n" });
}

TEST_F(set_motor, is_refused_at_any_power_but_1)
{
    kit.power = 2;
    EXPECT_EQ(asked(R"({"operation":1})"), -1);
    EXPECT_EQ(reply, refusal("power off"));
    EXPECT_EQ(calls(), texts{});
}

TEST_F(set_motor, without_memory_for_the_text_of_a_place_fails_with_a_log_line)
{
    const json_text message(R"({"params":{"operation":6,"location":[30,60]}})");
    // Rendering the list takes the parser library's own memory, which a test cannot refuse; a place that
    // renders to nothing stands for it.
    ASSERT_NE(message.object, nullptr);
    json_object *params = json_object_object_get(message.object, "params");
    json_object *location = json_object_object_get(params, "location");
    json_object_set_serializer(
        location, [](json_object *, printbuf *, int, int) { return -1; }, nullptr, nullptr);
    EXPECT_EQ(otd_set_motor_process(message, 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(reply, refusal("location is NULL"));
    EXPECT_TRUE(log_mentions("out of memory"));
    EXPECT_EQ(calls(), texts{});
}

struct track_report : daemon_desk {};

TEST_F(track_report, tells_the_cloud_client)
{
    const std::string text = R"({"id":501,"method":"props","params":{"track":"on"}})";
    EXPECT_EQ(report_track_status("on"), static_cast<int>(text.size()));
    EXPECT_EQ(story(), (texts{ "debug: reportbuf: " + text + "\n", to_cloud(text) }));
}

TEST_F(track_report, without_a_link_is_logged_and_not_sent)
{
    kit.otd_sock = 0;
    EXPECT_EQ(report_track_status("off"), -1);
    EXPECT_EQ(
        story(),
        texts{ "debug: reportbuf: {\"id\":501,\"method\":\"props\",\"params\":{\"track\":\"off\"}}\n" });
}
