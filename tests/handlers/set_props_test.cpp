// SPDX-License-Identifier: MIT
// The motion-detection family.
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"

static const char *const family[] = { "motion_record",     "motion_alarm",  "motion_alarm_get",
                                      "get_motion_region", "motion_region", "motion_detection_enable" };

struct motion_props : daemon_desk {
    char reply[1024] = "";

    int sets(const char *key, const std::string &params)
    {
        return otd_set_props((R"({"id":7,"params":)" + params + "}").c_str(), 7, reply, sizeof(reply), key);
    }
};

struct written_prop {
    const char *name;
    const char *key;
    const char *params;
    const char *value;
    const char *reply;
};

static const char one[] = R"({ "id": 7, "result": 1 })";

static const written_prop written[] = {
    { "record_on", "motion_record", R"(["on"])", "on", one },
    { "record_anything", "motion_record", R"(["whenever"])", "whenever", one },
    { "record_first_alone", "motion_record", R"(["stop","on"])", "stop", one },
    { "record_number", "motion_record", "[2]", "2", one },
    { "alarm", "motion_alarm", "[1, 5, 0, 0, 0, 0, 5]", "[1,5,0,0,0,0,5]", one },
    { "alarm_empty", "motion_alarm", "[ ]", "[]", one },
    { "alarm_nested", "motion_alarm", R"([ { "a" : [ 1 , 2 ] } , "x" ])", R"([{"a":[1,2]},"x"])", one },
    { "region", "motion_region", "[ 1, 3 ]", "[1,3]", "" },
    { "detection_on", "motion_detection_enable", R"(["on"])", "on", "" },
    { "detection_first_alone", "motion_detection_enable", R"(["off","on"])", "off", "" },
};

struct motion_write : motion_props, testing::WithParamInterface<written_prop> {};

TEST_P(motion_write, goes_to_nvram_with_its_line_and_its_reply)
{
    const written_prop &row = GetParam();
    EXPECT_EQ(sets(row.key, row.params), 0);
    EXPECT_EQ(story(), (texts{ nvram_set(row.key, row.value),
                               "info: set " + std::string(row.key) + " " + row.value + " ok!\n" }));
    EXPECT_STREQ(reply, row.reply);
}

INSTANTIATE_TEST_SUITE_P(rows, motion_write, testing::ValuesIn(written),
                         [](const auto &row) { return row.param.name; });

TEST_F(motion_props, the_alarm_configuration_is_answered_as_an_array)
{
    strcpy(motion_alarm_cfg, "[0,5,0,0,0,0,5]");
    EXPECT_EQ(sets("motion_alarm_get", "[]"), 0);
    EXPECT_STREQ(reply, R"({ "id": 7, "result": [ 0, 5, 0, 0, 0, 0, 5 ] })");
    EXPECT_EQ(story(), texts{});
}

TEST_F(motion_props, the_region_is_answered_compact_and_logged)
{
    strcpy(motion_region_cfg, "[3, 3,1]");
    EXPECT_EQ(sets("get_motion_region", "[]"), 0);
    EXPECT_STREQ(reply, R"({"id":7,"result":[3,3,1]})");
    EXPECT_EQ(story(), texts{ R"(debug: get_motion_region: {"id":7,"result":[3,3,1]})"
                              "\n" });
}

TEST_F(motion_props, the_whole_default_region_fits_its_answer)
{
    std::string region = "[3";
    for (int i = 1; i < 32; i++)
        region += ",3";
    region += "]";
    strcpy(motion_region_cfg, region.c_str());
    sets("get_motion_region", "[]");
    EXPECT_EQ(reply, R"({"id":7,"result":)" + region + "}");
}

TEST_F(motion_props, an_alarm_text_that_is_no_array_is_complained_of_and_answered)
{
    strcpy(motion_alarm_cfg, R"({"a":1})");
    EXPECT_EQ(sets("motion_alarm_get", "[]"), 0);
    EXPECT_TRUE(log_mentions(": otd_set_props: params json type error\n"));
    EXPECT_STREQ(reply, R"({ "id": 7, "result": { "a": 1 } })");
}

TEST_F(motion_props, an_alarm_text_that_is_no_json_is_answered_as_null)
{
    strcpy(motion_alarm_cfg, "nonsense");
    EXPECT_EQ(sets("motion_alarm_get", "[]"), 0);
    EXPECT_TRUE(log_mentions(": otd_set_props: params json type error\n"));
    EXPECT_STREQ(reply, R"({ "id": 7, "result": null })");
}

TEST_F(motion_props, a_region_that_is_no_array_is_complained_of_and_answered)
{
    strcpy(motion_region_cfg, "5");
    EXPECT_EQ(sets("get_motion_region", "[]"), 0);
    EXPECT_TRUE(log_mentions(": otd_set_props: params json type error\n"));
    EXPECT_STREQ(reply, R"({"id":7,"result":5})");
}

TEST_F(motion_props, an_empty_array_sets_no_record_mode)
{
    EXPECT_EQ(sets("motion_record", "[]"), 0);
    EXPECT_EQ(calls_of("libselvar_set_value").size(), 0U);
}

TEST_F(motion_props, detection_without_a_first_element_stays_as_it_is)
{
    for (const char *params : { "[]", "[null]" }) {
        EXPECT_EQ(sets("motion_detection_enable", params), 0);
        EXPECT_EQ(story(), texts{}) << params;
        EXPECT_STREQ(reply, "");
    }
}

TEST_F(motion_props, nothing_is_sent_here)
{
    sets("motion_record", R"(["on"])");
    sets("get_motion_region", "[]");
    EXPECT_EQ(sent_texts(), texts{});
}

struct family_member : motion_props, testing::WithParamInterface<const char *> {};

TEST_P(family_member, during_an_update_is_refused)
{
    kit.ota = 1;
    EXPECT_EQ(sets(GetParam(), R"(["on"])"), -1);
    EXPECT_STREQ(reply, "");
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": ota status:1 \n"));
}

TEST_P(family_member, that_is_no_json_is_refused)
{
    EXPECT_EQ(otd_set_props("nonsense", 7, reply, sizeof(reply), GetParam()), -1);
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": otd_set_props: Not in json format: nonsense\n"));
}

TEST_P(family_member, without_params_is_refused)
{
    EXPECT_EQ(otd_set_props(R"({"id":7})", 7, reply, sizeof(reply), GetParam()), -1);
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": otd_set_props: set_props error\n"));
}

TEST_P(family_member, with_params_that_are_no_array_is_refused)
{
    EXPECT_EQ(sets(GetParam(), R"("on")"), -1);
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": otd_set_props: params json type error\n"));
}

TEST_P(family_member, without_request_or_reply_buffer_is_refused)
{
    EXPECT_EQ(otd_set_props(static_cast<const char *>(nullptr), 7, reply, sizeof(reply), GetParam()), -1);
    EXPECT_EQ(otd_set_props(R"({"params":["on"]})", 7, nullptr, 0, GetParam()), -1);
    EXPECT_EQ(calls(), texts{});
}

INSTANTIATE_TEST_SUITE_P(keys, family_member, testing::ValuesIn(family),
                         [](const auto &row) { return row.param; });
