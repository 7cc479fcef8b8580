// SPDX-License-Identifier: MIT
// The stream from the cloud client, over real sockets: the 4096-byte window, whole and cut messages, the end.
#include "core/otd_link.h"

#include "fakes/daemon_desk.h"

#include <sys/socket.h>

static std::string asks_power(int id)
{
    return R"({"id":)" + std::to_string(id) + R"(,"method":"get_prop","params":["power"]})";
}

static std::string power_is_on(int id)
{
    return R"({ "id": )" + std::to_string(id) + R"(, "result": [ "on" ] })";
}

// A request for power that is exactly length bytes long.
static std::string padded_request(int id, size_t length)
{
    std::string begin = R"({"id":)" + std::to_string(id) + R"(,"method":"get_prop","params":["power"],"x":")";
    std::string end = "\"}";
    return begin + std::string(length - begin.size() - end.size(), 'x') + end;
}

struct receiving : daemon_desk {
    receiving()
    {
        kit.pollfds[0].fd = kit.otd_sock;
        kit.nfds = 1;
    }

    int receives(const std::string &bytes)
    {
        cloud.writes(bytes);
        return otd_recv_handler(kit.otd_sock);
    }
};

static const char refused[] = "warning: otd_recv_handler_one() return -1\n";

TEST_F(receiving, one_message_is_answered_and_the_burst_ends_with_would_block)
{
    EXPECT_EQ(receives(asks_power(7)), -1);
    EXPECT_EQ(cloud.reads(), power_is_on(7));
    EXPECT_GT(kit.otd_sock, 0);
}

TEST_F(receiving, two_messages_in_one_segment_are_handled_in_order_each_with_its_id)
{
    receives(asks_power(7) + asks_power(8));
    EXPECT_EQ(sent_texts(), (texts{ power_is_on(7), power_is_on(8) }));
    EXPECT_EQ(last_rpc_id, 8);
}

TEST_F(receiving, a_message_and_a_half_handles_the_first_and_drops_the_half)
{
    std::string half = asks_power(8).substr(0, 20);
    EXPECT_EQ(receives(asks_power(7) + half), -1);
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
    EXPECT_TRUE(logged("warning: otd_recv_handler_block(), token parse error msg: " + half +
                       ", length: " + std::to_string(half.size()) + " bytes\n"));
}

TEST_F(receiving, the_dropped_half_is_not_completed_by_a_later_segment)
{
    std::string second = asks_power(8);
    receives(asks_power(7) + second.substr(0, 20));
    EXPECT_EQ(receives(second.substr(20)), -1);
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
    EXPECT_TRUE(logged(refused));
}

TEST_F(receiving, a_first_half_alone_is_lost)
{
    EXPECT_EQ(receives(asks_power(7).substr(0, 20)), -1);
    EXPECT_TRUE(logged(refused));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(receiving, after_a_bad_block_the_link_goes_on)
{
    receives("garbage");
    receives(asks_power(7));
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
}

TEST_F(receiving, bytes_of_an_earlier_message_never_complete_a_cut_one)
{
    receives(padded_request(7, 3000));
    sends_reset();
    std::string cut = padded_request(8, 3000).substr(0, 1500);
    receives(cut);
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(receiving, half_a_surrogate_pair_is_never_joined_with_a_later_message)
{
    for (const char *stopped :
         { R"({"id":7,"v":"\ud83d\u)", R"({"id":7,"v":"\ud83d)", R"({"id":7,"v":"\ud83d\uZ"})" }) {
        receives(stopped);
        record_clear();
        receives(R"({"id":8,"method":"set_motion_record","params":["\u4e2d"]})");
        EXPECT_TRUE(called(nvram_set("motion_record", "\u4e2d"))) << stopped;
    }
}

TEST_F(receiving, a_pair_cut_in_two_is_whole_when_its_second_half_comes_in_the_same_burst)
{
    const std::string message = R"({"id":8,"method":"set_motion_record","params":["\ud83d\ude00"]})";
    const std::string first = asks_power(7) + message.substr(0, message.find("ude00"));
    EXPECT_EQ(otd_recv_handler_block(kit.otd_sock, first.c_str(), static_cast<int>(first.size())),
              static_cast<int>(asks_power(7).size()));
    EXPECT_EQ(otd_recv_handler_block(kit.otd_sock, message.c_str(), static_cast<int>(message.size())),
              static_cast<int>(message.size()));
    EXPECT_TRUE(called(nvram_set("motion_record", "\U0001F600")));
}

TEST_F(receiving, messages_across_the_window_are_put_together_within_a_burst)
{
    std::string stream;
    texts expected;
    for (int id = 100; id < 300; id++) {
        stream += asks_power(id);
        expected.push_back(power_is_on(id));
    }
    ASSERT_GT(stream.size(), 2U * 4096U);
    EXPECT_EQ(receives(stream), -1);
    EXPECT_EQ(sent_texts(), expected);
}

TEST_F(receiving, a_message_that_fills_the_window_is_handled)
{
    EXPECT_EQ(receives(padded_request(7, 4096)), -1);
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
}

TEST_F(receiving, a_message_that_exceeds_the_window_by_one_is_refused)
{
    EXPECT_EQ(receives(padded_request(7, 4097)), -1);
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_TRUE(logged(refused));
}

TEST_F(receiving, what_waits_behind_a_message_too_long_is_a_burst_of_its_own)
{
    receives(padded_request(7, 4096 + 10));
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), -1);
    EXPECT_EQ(sent_texts(), texts{});
    receives(asks_power(9));
    EXPECT_EQ(sent_texts(), texts{ power_is_on(9) });
}

TEST_F(receiving, a_message_too_long_behind_a_good_one_is_refused_when_the_window_is_full)
{
    EXPECT_EQ(receives(asks_power(7) + padded_request(8, 5000)), -1);
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
    EXPECT_TRUE(logged(refused));
}

// A bare number is JSON at the start of a block, but its end is never seen: it stays held.
TEST_F(receiving, a_full_window_without_a_whole_message_is_reported_and_dropped)
{
    std::string digits(4096, '1');
    EXPECT_EQ(receives(digits + asks_power(7)), 0);
    EXPECT_TRUE(log_lines().back() == "warning: otd_recv_handler() remain str: " + digits + "\n");
    EXPECT_GT(kit.otd_sock, 0) << "the peer has not closed";

    otd_recv_handler(kit.otd_sock);
    EXPECT_EQ(sent_texts(), texts{ power_is_on(7) });
}

TEST_F(receiving, held_bytes_are_reported_without_those_that_lay_where_they_lie_now)
{
    cloud.writes(asks_power(7) + R"({"id":8,)");
    shutdown(cloud.cloud, SHUT_WR);
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), 0);
    EXPECT_TRUE(logged("warning: otd_recv_handler() remain str: {\"id\":8,\n"));
}

TEST_F(receiving, the_end_behind_held_bytes_reports_them_and_leaves_the_close_to_the_next_event)
{
    cloud.writes("12");
    cloud.hangs_up();
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), 0);
    EXPECT_TRUE(logged("warning: otd_recv_handler() remain str: 12\n"));
    EXPECT_GT(kit.otd_sock, 0);

    EXPECT_EQ(otd_recv_handler(kit.otd_sock), 0);
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 0);
}

TEST_F(receiving, the_end_of_the_connection_takes_the_link_down_at_once)
{
    watch_close(kit.otd_sock);
    std::string closed = "close(" + std::to_string(kit.otd_sock) + ")";
    cloud.hangs_up();
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), 0);
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 0);
    EXPECT_EQ(story(), texts{ closed });
}

TEST_F(receiving, a_message_before_the_end_is_handled_and_the_close_left_to_the_next_event)
{
    cloud.writes(R"({"id":7,"method":"local.did","params":5})");
    cloud.hangs_up();
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), 0);
    EXPECT_TRUE(logged("err: kivo_did = 5\n"));
    EXPECT_GT(kit.otd_sock, 0);
    otd_recv_handler(kit.otd_sock);
    EXPECT_EQ(kit.otd_sock, 0);
}

TEST_F(receiving, an_event_with_nothing_to_read_changes_nothing)
{
    EXPECT_EQ(otd_recv_handler(kit.otd_sock), -1);
    EXPECT_EQ(story(), texts{});
    EXPECT_GT(kit.otd_sock, 0);
}
