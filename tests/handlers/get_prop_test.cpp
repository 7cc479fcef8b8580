// SPDX-License-Identifier: MIT
// "get_prop": the answer for each property, and the reply with all of them.
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"

struct answer_of {
    const char *story;
    const char *name;
    void (*given)();
    const char *answer;
};

// The flags of the first group are on only at 1, those of the second at anything but 0.
static const answer_of answers[] = {
    { "light_at_1", "light", [] { kit.light = 1; }, "on" },
    { "light_at_0", "light", [] { kit.light = 0; }, "off" },
    { "light_at_2", "light", [] { kit.light = 2; }, "off" },
    { "power_at_1", "power", [] { kit.power = 1; }, "on" },
    { "power_at_0", "power", [] { kit.power = 0; }, "off" },
    { "power_at_2", "power", [] { kit.power = 2; }, "off" },
    { "watermark_at_1", "watermark", [] { kit.watermark = 1; }, "on" },
    { "watermark_at_0", "watermark", [] { kit.watermark = 0; }, "off" },
    { "watermark_at_2", "watermark", [] { kit.watermark = 2; }, "off" },
    { "motion_detection_at_1", "motion_detection_enable", [] { kit.motion_enable = 1; }, "on" },
    { "motion_detection_at_0", "motion_detection_enable", [] { kit.motion_enable = 0; }, "off" },
    { "motion_detection_at_2", "motion_detection_enable", [] { kit.motion_enable = 2; }, "off" },
    { "full_color_at_1", "full_color", [] { kit.color = 1; }, "on" },
    { "full_color_at_0", "full_color", [] { kit.color = 0; }, "off" },
    { "full_color_at_2", "full_color", [] { kit.color = 2; }, "off" },
    { "motion_record_at_0", "motion_record", [] { kit.motion_record = 0; }, "off" },
    { "motion_record_at_1", "motion_record", [] { kit.motion_record = 1; }, "on" },
    { "motion_record_at_2", "motion_record", [] { kit.motion_record = 2; }, "stop" },
    { "motion_record_at_3", "motion_record", [] { kit.motion_record = 3; }, "off" },
    { "wdr_at_0", "wdr", [] { kit.wdr = 0; }, "off" },
    { "wdr_at_1", "wdr", [] { kit.wdr = 1; }, "on" },
    { "wdr_at_2", "wdr", [] { kit.wdr = 2; }, "on" },
    { "flip_at_0", "flip", [] { kit.flip = 0; }, "off" },
    { "flip_at_1", "flip", [] { kit.flip = 1; }, "on" },
    { "flip_at_2", "flip", [] { kit.flip = 2; }, "on" },
    { "card", "sdcard_status", [] { kit.card_status = -3; }, "-3" },
    { "night_mode", "night_mode", [] { kit.night = 2; }, "2" },
    { "motion_alarm", "motion_alarm", [] { strcpy(motion_alarm_cfg, "[1,2]"); }, "[1,2]" },
    { "motion_region", "motion_region", [] { strcpy(motion_region_cfg, "[1,3]"); }, "[1,3]" },
    { "mini_level_at_start", "mini_level", [] {}, "1" },
    { "mini_level", "mini_level", [] { mini_level = 4; }, "4" },
    { "max_client", "max_client", [] { kit.max_client = 1; }, "1" },
    { "track_at_0", "track", [] { kit.tracking = 0; }, "off" },
    { "track_at_1", "track", [] { kit.tracking = 1; }, "on" },
    { "track_at_2", "track", [] { kit.tracking = 2; }, "on" },
    { "improve_program_at_0", "improve_program", [] { kit.improve_program = 0; }, "off" },
    { "improve_program_at_1", "improve_program", [] { kit.improve_program = 1; }, "on" },
    { "improve_program_at_2", "improve_program", [] { kit.improve_program = 2; }, "on" },
};

struct property : daemon_desk, testing::WithParamInterface<answer_of> {};

TEST_P(property, is_answered_from_the_state)
{
    GetParam().given();
    char buffer[32] = "old";
    EXPECT_EQ(get_prop_value(GetParam().name, buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, GetParam().answer);
    EXPECT_EQ(story(), texts{});
}

INSTANTIATE_TEST_SUITE_P(names, property, testing::ValuesIn(answers),
                         [](const auto &row) { return row.param.story; });

struct get_prop : daemon_desk {
    char reply[1024] = "";

    int asks(const std::string &params)
    {
        return otd_send_props((R"({"id":7,"method":"get_prop","params":)" + params + "}").c_str(), 7, reply,
                              sizeof(reply));
    }
};

TEST_F(get_prop, an_unknown_name_is_answered_as_unknow)
{
    char buffer[32] = "old";
    EXPECT_EQ(get_prop_value("volume", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "unknow");
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": unknow key volume\n"));
}

TEST_F(get_prop, a_null_name_or_buffer_is_refused)
{
    char buffer[8] = "old";
    EXPECT_EQ(get_prop_value(nullptr, buffer, sizeof(buffer)), -1);
    EXPECT_EQ(get_prop_value("light", nullptr, 8), -1);
    EXPECT_EQ(log_lines().size(), 2U);
    EXPECT_TRUE(log_mentions(": parameter is null\n"));
}

TEST_F(get_prop, an_answer_is_cut_to_the_buffer)
{
    char buffer[8];
    memset(buffer, '#', sizeof(buffer));
    strcpy(motion_alarm_cfg, "[0,5,0,0,0,0,5]");
    EXPECT_EQ(get_prop_value("motion_alarm", buffer, 6), 0);
    EXPECT_EQ(std::string(buffer, 8), std::string("[0,5,\0##", 8));
}

TEST_F(get_prop, the_buffer_is_cleared_to_its_end)
{
    char buffer[8];
    memset(buffer, '#', sizeof(buffer));
    get_prop_value("power", buffer, 7);
    EXPECT_EQ(std::string(buffer, 8), std::string("on\0\0\0\0\0#", 8));
}

TEST_F(get_prop, three_names_bring_three_answers_the_unknown_one_included)
{
    kit.night = 2;
    EXPECT_EQ(asks(R"(["power","volume","night_mode"])"), 0);
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ "on", "unknow", "2" ] })");
    EXPECT_EQ(log_lines(), (texts{ "debug: props key:power, value:on!\n", log_lines().at(1),
                                   "debug: props key:volume, value:unknow!\n",
                                   "debug: props key:night_mode, value:2!\n" }));
    EXPECT_TRUE(log_mentions(": unknow key volume\n"));
}

TEST_F(get_prop, nothing_asked_brings_an_empty_list)
{
    EXPECT_EQ(asks("[]"), 0);
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ ] })");
}

TEST_F(get_prop, a_repeated_name_is_answered_each_time)
{
    asks(R"(["light","light"])");
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ "on", "on" ] })");
}

TEST_F(get_prop, an_answer_in_the_reply_has_at_most_31_characters)
{
    strcpy(motion_region_cfg, "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3]");
    asks(R"(["motion_region"])");
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3," ] })");
}

TEST_F(get_prop, a_reply_that_is_too_long_is_cut)
{
    std::string names = "[\"power\"";
    for (int i = 0; i < 400; i++)
        names += ",\"power\"";
    EXPECT_EQ(asks(names + "]"), 0);
    EXPECT_EQ(strlen(reply), 1023U);
}

TEST_F(get_prop, an_element_that_is_null_does_not_stop_the_answer)
{
    EXPECT_EQ(asks(R"([null,"power"])"), 0);
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ "", "on" ] })");
    EXPECT_TRUE(log_mentions(": parameter is null\n"));
    EXPECT_TRUE(logged("debug: props key:power, value:on!\n"));
}

TEST_F(get_prop, is_answered_during_an_update_too)
{
    kit.ota = 1;
    EXPECT_EQ(asks(R"(["power"])"), 0);
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ "on" ] })");
    EXPECT_FALSE(log_mentions("ota status"));
}

TEST_F(get_prop, params_that_are_no_array_are_refused)
{
    EXPECT_EQ(asks(R"({"power":1})"), -1);
    EXPECT_STREQ(reply, "");
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": otd_send_props: params json type error\n"));
}

TEST_F(get_prop, missing_params_are_refused)
{
    EXPECT_EQ(otd_send_props(R"({"id":7})", 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": otd_send_props: get props error\n"));
}

TEST_F(get_prop, what_is_no_json_is_refused)
{
    EXPECT_EQ(otd_send_props("{", 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(log_lines(), texts{ "err: otd_send_props: Not in json format: {\n" });
}

TEST_F(get_prop, a_null_request_or_reply_is_refused)
{
    EXPECT_EQ(otd_send_props(static_cast<const char *>(nullptr), 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(otd_send_props(R"({"params":["power"]})", 7, nullptr, 0), -1);
}
