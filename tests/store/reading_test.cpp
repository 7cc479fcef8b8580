// SPDX-License-Identifier: MIT
// The synchronous read from mem.
#include "store_desk.h"

struct reading_store : open_store {
    char buffer[32] = "as it was";
};

TEST_F(reading_store, the_value_arrives_in_the_buffer)
{
    store.get_reply = text_reply("dev_status", "normal");
    EXPECT_EQ(selvar_mem_get_string("dev_status", buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "normal");
    EXPECT_EQ(calls(), (texts{ "libselvar_handle_stop()",
                               "libselvar_get_value(mem, default, dev_status, yes, yes, 5, 0)" }));
    EXPECT_EQ(log_lines(), texts{ "info: get_callback: key: dev_status, value: normal\n" });
}

struct fitting_value {
    size_t length;
    int result;
    size_t arrives;
};

struct sixteen_byte_buffer : open_store, testing::WithParamInterface<fitting_value> {};

TEST_P(sixteen_byte_buffer, takes_a_value_of_its_own_length_cut_by_one)
{
    std::string value(GetParam().length, 'v');
    char buffer[16] = "";
    store.get_reply = text_reply("key", value.c_str());
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), GetParam().result);
    EXPECT_EQ(std::string(buffer), std::string(GetParam().arrives, 'v'));
}

INSTANTIATE_TEST_SUITE_P(lengths, sixteen_byte_buffer,
                         testing::Values(fitting_value{ 0, 0, 0 }, fitting_value{ 15, 0, 15 },
                                         fitting_value{ 16, 0, 15 }, fitting_value{ 17, -1, 0 }));

TEST_F(reading_store, a_value_longer_than_the_buffer_is_refused_with_both_lengths)
{
    store.get_reply = text_reply("key", "12345678901234567");
    EXPECT_EQ(selvar_mem_get_string("key", buffer, 16), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_TRUE(log_mentions(": mem value length is too long 17/16.\n"));
}

TEST_F(reading_store, a_request_that_was_not_sent_is_a_failure)
{
    store.get_result = false;
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": mem send get value cmd fail.\n"));
}

TEST_F(reading_store, a_time_out_is_a_failure_that_names_the_key)
{
    store.get_times_out = true;
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_TRUE(log_mentions(": get_timout_callback.\n"));
    EXPECT_TRUE(log_mentions(": get key mem string value error.\n"));
}

TEST_F(reading_store, an_unreadable_response_is_a_failure)
{
    store.get_reply = text_reply("key", "value");
    store.get_reply.readable = false;
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_TRUE(log_mentions(": Get response faild.\n"));
    EXPECT_TRUE(log_mentions(": get key mem string value error.\n"));
    EXPECT_FALSE(log_mentions("get_callback: key"));
}

TEST_F(reading_store, a_value_that_is_no_text_is_a_failure_that_still_shows_what_came)
{
    store.get_reply = text_reply("key", "value");
    store.get_reply.type = 5;
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_TRUE(log_mentions(": response type error.\n"));
    EXPECT_TRUE(logged("info: get_callback: key: key, value: value\n"));
    EXPECT_TRUE(log_mentions(": get key mem string value error.\n"));
}

TEST_F(reading_store, a_value_of_128_bytes_is_taken_and_cut_by_one)
{
    char room[200] = "";
    std::string value(128, 'v');
    store.get_reply = text_reply("key", value.c_str());
    EXPECT_EQ(selvar_mem_get_string("key", room, sizeof(room)), 0);
    EXPECT_EQ(std::string(room), std::string(127, 'v'));
}

TEST_F(reading_store, a_longer_value_is_refused_but_shown_cut)
{
    char room[200] = "";
    std::string value(129, 'v');
    store.get_reply = text_reply("key", value.c_str());
    EXPECT_EQ(selvar_mem_get_string("key", room, sizeof(room)), -1);
    EXPECT_TRUE(log_mentions(": response is too long:name(3), value(129)\n"));
    EXPECT_TRUE(logged("info: get_callback: key: key, value: " + std::string(127, 'v') + "\n"));
}

TEST_F(reading_store, a_key_of_128_bytes_is_taken_and_cut_by_one)
{
    const std::string asked(127, 'k');
    store.get_reply = text_reply(std::string(128, 'k').c_str(), "value");
    EXPECT_EQ(selvar_mem_get_string(asked.c_str(), buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "value");
    EXPECT_EQ(log_lines(), texts{ "info: get_callback: key: " + asked + ", value: value\n" });
}

TEST_F(reading_store, a_value_of_wrong_type_and_length_is_refused_for_both_and_then_shown)
{
    char room[200] = "";
    store.get_reply = text_reply("key", std::string(129, 'v').c_str());
    store.get_reply.type = 5;
    EXPECT_EQ(selvar_mem_get_string("key", room, sizeof(room)), -1);
    EXPECT_EQ(log_lines(),
              (texts{ "err: response type error.\n", "err: response is too long:name(3), value(129)\n",
                      "info: get_callback: key: key, value: " + std::string(127, 'v') + "\n",
                      "err: get key mem string value error.\n" }));
}

TEST_F(reading_store, a_longer_key_is_refused)
{
    std::string key(129, 'k');
    store.get_reply = text_reply(key.c_str(), "v");
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_TRUE(log_mentions(": response is too long:name(129), value(1)\n"));
}

TEST_F(reading_store, the_answer_to_another_key_is_refused)
{
    store.get_reply = text_reply("other", "value");
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_TRUE(log_mentions(": mem key error:other key.\n"));
}

TEST_F(reading_store, a_long_key_is_asked_for_and_compared_by_its_first_127_characters)
{
    std::string asked(127, 'k');
    store.get_reply = text_reply(asked.c_str(), "value");
    EXPECT_EQ(selvar_mem_get_string(std::string(200, 'k').c_str(), buffer, sizeof(buffer)), 0);
    EXPECT_TRUE(called("libselvar_get_value(mem, default, " + asked + ", yes, yes, 5, 0)"));
    EXPECT_STREQ(buffer, "value");
}

TEST_F(reading_store, a_failure_does_not_stay_for_the_next_read)
{
    store.get_times_out = true;
    selvar_mem_get_string("key", buffer, sizeof(buffer));
    store.get_times_out = false;
    store.get_reply = text_reply("key", "value");
    EXPECT_EQ(selvar_mem_get_string("key", buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "value");
}

TEST_F(reading_store, the_handle_stays_in_the_state_of_the_read)
{
    store.get_reply = text_reply("key", "value");
    selvar_mem_get_string("key", buffer, sizeof(buffer));
    EXPECT_EQ(calls_of("libselvar_handle_other"), texts{});
}
