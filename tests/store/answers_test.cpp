// SPDX-License-Identifier: MIT
// The outcome of writes and of the reset, which is only logged.
#include "store_desk.h"

static xresponse set_reply(int message_type, int status)
{
    xresponse reply;
    reply.message_type = message_type;
    reply.status = status;
    return reply;
}

struct after_a_write : open_store {
    after_a_write()
    {
        selvar_nvram_set_string("power", "on", 0);
        record_clear();
    }
};

TEST_F(after_a_write, a_good_answer_is_logged_for_the_debugger)
{
    store_answers_set(set_reply(3, 0));
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines(), texts{ "debug: Set sucess.\n" });
}

TEST_F(after_a_write, a_bad_status_is_logged_as_an_error)
{
    store_answers_set(set_reply(3, -7));
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines(), texts{ "err: Set faild.\n" });
}

TEST_F(after_a_write, an_answer_of_another_type_is_told_apart_whatever_its_status)
{
    store_answers_set(set_reply(2, 0));
    store_answers_set(set_reply(4, 1));
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines().size(), 2U);
    EXPECT_TRUE(log_mentions(": Recv type error. not the set value.\n"));
    EXPECT_FALSE(log_mentions("Set "));
}

TEST_F(after_a_write, a_time_out_is_logged)
{
    store_set_times_out();
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": set_timout_callback.\n"));
}

TEST_F(open_store, a_number_and_a_mem_text_are_answered_through_the_same_callbacks)
{
    selvar_mem_set_uint64("time_flip", 1);
    store_answers_set(set_reply(3, 0));
    selvar_mem_set_string("dev_status", "x", 0);
    store_answers_set(set_reply(3, 1));
    record_clear();
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines(), (texts{ "debug: Set sucess.\n", "err: Set faild.\n" }));
}

TEST_F(open_store, the_answer_to_the_reset_is_logged)
{
    selvar_nvram_restore();
    store_answers_reset();
    record_clear();
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": other_cb\n"));
}

TEST_F(open_store, the_time_out_of_the_reset_is_logged)
{
    selvar_nvram_restore();
    store_reset_times_out();
    record_clear();
    store_descriptor_is_readable();
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": other_timeout_cb\n"));
}
