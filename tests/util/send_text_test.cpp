// SPDX-License-Identifier: MIT
// The way out to the cloud client.
#include "util/send_text.h"

#include "fakes/sockets.h"

#include <cerrno>

struct send_desk : testing::Test {
    send_desk()
    {
        sends_reset();
        record_clear();
    }
};

TEST_F(send_desk, a_text_goes_out_whole_in_one_send_without_its_nul)
{
    cloud_pair link;
    EXPECT_EQ(send_text(link.daemon, R"({"id":1})"), 8);
    EXPECT_EQ(link.reads(), R"({"id":1})");
    ASSERT_EQ(sends().size(), 1U);
    EXPECT_EQ(sends()[0].flags, 0);
}

TEST_F(send_desk, an_empty_text_is_a_send_of_length_zero)
{
    cloud_pair link;
    EXPECT_EQ(send_text(link.daemon, ""), 0);
    EXPECT_EQ(sent_texts(), texts{ "" });
}

TEST_F(send_desk, nothing_is_sent_on_a_descriptor_below_one)
{
    EXPECT_EQ(send_text(0, "text"), -1);
    EXPECT_EQ(send_text(-1, "text"), -1);
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(send_desk, a_text_that_went_out_in_part_shuts_the_socket_down)
{
    cloud_pair link;
    next_send_gives(3, 0);
    EXPECT_EQ(send_text(link.daemon, "whole text"), 3);
    EXPECT_TRUE(link.daemon_has_hung_up());
}

TEST_F(send_desk, a_send_that_timed_out_shuts_the_socket_down)
{
    cloud_pair link;
    next_send_gives(-1, EAGAIN);
    EXPECT_EQ(send_text(link.daemon, "whole text"), -1);
    EXPECT_TRUE(link.daemon_has_hung_up());
}

TEST_F(send_desk, a_send_on_a_dropped_connection_is_only_reported)
{
    cloud_pair link;
    next_send_gives(-1, EPIPE);
    EXPECT_EQ(send_text(link.daemon, "text"), -1);
    EXPECT_FALSE(link.daemon_has_hung_up());
}
