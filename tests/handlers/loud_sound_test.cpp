// SPDX-License-Identifier: MIT
// The settings of the loud-sound detection.
#include "handlers/loud_sound.h"

#include "fakes/daemon_desk.h"

struct loud_sound : daemon_desk {
    int set(const std::string &params, const char *method = "set_lsd_config")
    {
        return sent(R"({"id":7,"params":)" + params + "}", method);
    }

    int sent(const std::string &message, const char *method = "set_lsd_config")
    {
        return otd_set_lsd_info(message.c_str(), 7, out, method, &reply_flag);
    }

    char out[1024] = "";
    int32_t reply_flag = 1;
};

static const char ok[] = R"({"id":7,"result":["OK"]})";

TEST_F(loud_sound, settings_are_written_in_their_order)
{
    EXPECT_EQ(set(R"([{"lsd_sensity":"3","lsd_push":"0","lsd_switch":"1"}])"), 0);
    EXPECT_EQ(calls(), (texts{ nvram_set("lsd_switch", "1"), nvram_set("lsd_push", "0"),
                               nvram_set("lsd_sensity", "3") }));
    EXPECT_STREQ(out, ok);
    EXPECT_EQ(reply_flag, 1);
}

TEST_F(loud_sound, a_message_is_logged_first)
{
    set("[]");
    EXPECT_EQ(story(), texts{ "info: otd_set_lsd_info , msg:{\"id\":7,\"params\":[]} ... \n" });
}

TEST_F(loud_sound, a_reply_that_was_switched_off_is_switched_on)
{
    reply_flag = 0;
    set("[]");
    EXPECT_EQ(reply_flag, 1);
}

struct lsd_row {
    const char *name;
    const char *params;
    texts written;
};

struct lsd_params : loud_sound, testing::WithParamInterface<lsd_row> {};

TEST_P(lsd_params, are_taken_as_far_as_they_go_and_answered)
{
    EXPECT_EQ(set(GetParam().params), 0);
    EXPECT_EQ(calls(), GetParam().written);
    EXPECT_STREQ(out, ok);
    EXPECT_EQ(reply_flag, 1);
}

// clang-format off
static const lsd_row lsd_rows[] = {
    { "only_the_switch",   R"([{"lsd_switch":"1"}])",                   { nvram_set("lsd_switch", "1") } },
    { "numbers",           R"([{"lsd_switch":1,"lsd_push":-2}])",       { nvram_set("lsd_switch", "1"), nvram_set("lsd_push", "-2") } },
    { "booleans",          R"([{"lsd_push":true}])",                    { nvram_set("lsd_push", "true") } },
    { "the_first_element", R"([{"lsd_push":"1"},{"lsd_switch":"1"}])",  { nvram_set("lsd_push", "1") } },
    { "a_null",            R"([{"lsd_switch":null,"lsd_push":"1"}])",   { nvram_set("lsd_push", "1") } },
    { "others",            R"([{"power":"off"}])",                      {} },
    { "an_object",         R"({"lsd_switch":"1"})",                     {} },
    { "an_empty_list",     "[]",                                        {} },
    { "a_list_of_texts",   R"(["lsd_switch"])",                         {} },
    { "a_text",            R"("lsd_switch")",                           {} },
    { "null",              "null",                                      {} },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(params, lsd_params, testing::ValuesIn(lsd_rows),
                         [](const auto &row) { return row.param.name; });

TEST_F(loud_sound, settings_are_written_and_answered_during_an_update_too)
{
    kit.ota = 1;
    EXPECT_EQ(set(R"([{"lsd_switch":"1","lsd_sensity":"3"}])"), 0);
    EXPECT_EQ(calls(), (texts{ nvram_set("lsd_switch", "1"), nvram_set("lsd_sensity", "3") }));
    EXPECT_STREQ(out, ok);
    EXPECT_EQ(reply_flag, 1);
    EXPECT_EQ(log_lines().size(), 1U) << "its receipt";
}

TEST_F(loud_sound, another_method_does_nothing)
{
    reply_flag = 0;
    EXPECT_EQ(set(R"([{"lsd_switch":"1"}])", "set_something"), 0);
    EXPECT_EQ(calls(), texts{});
    EXPECT_STREQ(out, "");
    EXPECT_EQ(reply_flag, 0);
}

TEST_F(loud_sound, what_is_no_json_is_not_answered)
{
    EXPECT_EQ(sent("nonsense"), -1);
    EXPECT_EQ(reply_flag, 0);
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(log_mentions(": otd_set_lsd_info: Not in json format: nonsense\n"));
}

TEST_F(loud_sound, a_request_without_params_is_not_answered)
{
    EXPECT_EQ(sent(R"({"id":7})"), -1);
    EXPECT_EQ(reply_flag, 0);
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(log_mentions(": otd_set_lsd_info: set_props error\n"));
}

TEST_F(loud_sound, without_memory_for_a_text_is_not_answered)
{
    const json_text message(R"({"params":[{"lsd_switch":1}]})");
    json_object *first = json_object_array_get_idx(json_object_object_get(message.object, "params"), 0);
    json_object_set_serializer(
        json_object_object_get(first, "lsd_switch"), [](json_object *, printbuf *, int, int) { return -1; },
        nullptr, nullptr);
    EXPECT_EQ(otd_set_lsd_info(message, 7, out, "set_lsd_config", &reply_flag), -1);
    EXPECT_EQ(reply_flag, 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(calls(), texts{});
    EXPECT_TRUE(log_mentions("out of memory"));
}

TEST_F(loud_sound, settings_are_told_as_numbers)
{
    lsd_switch = 1;
    lsd_push = -2;
    lsd_sensity = 3;
    EXPECT_EQ(otd_get_lsd_info(7, out), 0);
    const std::string reply =
        R"({"code":0,"id":7,"result":[{"lsd_switch":1,"lsd_push":-2,"lsd_sensity":3}]})";
    EXPECT_EQ(out, reply);
    EXPECT_EQ(story(), texts{ "info: >>>>ackbuf=" + reply + "\n" });
}
