// SPDX-License-Identifier: MIT
// The link to the audio player: served, lost, brought back; and what the player says.
#include "core/camwarden.h"

#include "fakes/children.h"
#include "fakes/daemon_desk.h"

#include <cerrno>

// The player listens, and the link to it is up.
struct player_link : daemon_desk {
    player_link()
    {
        bus.player_listens = true;
        kit.sound_fd = sound_init(nullptr);
        platform.monotonic_s = 4321;
        record_clear();
    }
    ~player_link() override
    {
        sound_exit();
    }
};

TEST_F(player_link, that_is_readable_is_served)
{
    has_entries({ kit.sound_fd });
    EXPECT_EQ(sound_close_retry(), 0);
    EXPECT_EQ(story(), texts{ "wrax_rcv_poll()" });
    EXPECT_EQ(kit.nfds, 1);
    EXPECT_EQ(kit.sound_fd, 60);
}

TEST_F(player_link, that_fails_is_closed_after_a_pause_of_100_ms)
{
    has_entries({ 101, kit.sound_fd, 102 });
    bus.poll_result = -1;
    bus.poll_errno = EPIPE;
    EXPECT_EQ(sound_close_retry(), 0);
    EXPECT_EQ(story(), (texts{ "wrax_rcv_poll()", "err: sound recv error no: 32\n",
                               "debug: sound_close_retry\n", "usleep(100000)", "wrax_rcv_destroy()" }));
    EXPECT_EQ(kit.sound_fd, 0);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.pollfds[0].fd, 101);
    EXPECT_EQ(kit.pollfds[1].fd, 102);
}

TEST_F(player_link, whose_player_leaves_is_closed_at_the_next_poll)
{
    has_entries({ kit.sound_fd });
    bus_player_leaves();
    sound_close_retry();
    EXPECT_EQ(kit.sound_fd, 60);
    sound_close_retry();
    EXPECT_EQ(kit.sound_fd, 0);
    EXPECT_EQ(kit.nfds, 0);
}

TEST_F(player_link, that_is_closed_leaves_the_poll_set_with_the_slot_behind_it)
{
    has_entries({ kit.sound_fd, 101 });
    kit.pollfds[2].fd = 999;
    sound_close();
    EXPECT_EQ(kit.nfds, 1);
    EXPECT_EQ(kit.pollfds[0].fd, 101);
    EXPECT_EQ(kit.pollfds[1].fd, 999);
    EXPECT_EQ(story(), texts{ "wrax_rcv_destroy()" });
}

TEST_F(player_link, that_is_not_in_the_poll_set_is_closed_with_the_number_of_the_cloud_socket)
{
    has_entries({ 101 });
    const std::string cloud_socket = std::to_string(kit.otd_sock);
    sound_close();
    EXPECT_EQ(story(), (texts{ "warning: kit.sound_fd (" + cloud_socket + ") not in pollfds.\n",
                               "wrax_rcv_destroy()" }));
    EXPECT_EQ(kit.sound_fd, 0);
    EXPECT_EQ(kit.nfds, 1);
}

TEST_F(player_link, that_is_down_is_not_closed_again)
{
    kit.sound_fd = 0;
    sound_close();
    kit.sound_fd = -1;
    sound_close();
    EXPECT_EQ(story(), texts{});
}

struct lost_player : player_link {
    lost_player()
    {
        sound_exit();
        kit.sound_fd = 0;
        record_clear();
    }
};

TEST_F(lost_player, comes_back_into_the_poll_set)
{
    has_entries({ 101 });
    sound_connect_retry();
    EXPECT_EQ(kit.sound_fd, 60);
    EXPECT_EQ(kit.reconnect_time, 4321U);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.pollfds[1].fd, 60);
    EXPECT_EQ(kit.pollfds[1].events, POLLIN);
    EXPECT_EQ(story().front(), "warning: Retry connecting to sound wrax...\n");
    EXPECT_TRUE(in_order({ "warning: Retry connecting to sound wrax...\n",
                           R"(wrax_rcv_create("/run/audio_play"))", "wrax_rcv_start()", "wrax_rcv_fd()",
                           "info: Connected to sound wrax.\n", "info: sound sockfd: 60\n" }));
    EXPECT_EQ(story().back(), "info: sound sockfd: 60\n");
}

TEST_F(lost_player, that_stays_away_leaves_the_link_down)
{
    bus.player_listens = false;
    sound_connect_retry();
    EXPECT_EQ(kit.sound_fd, -1);
    EXPECT_EQ(kit.nfds, 0);
    EXPECT_EQ(kit.reconnect_time, 4321U);
    EXPECT_EQ(log_lines(),
              (texts{ "warning: Retry connecting to sound wrax...\n", "err: wrax_rcv_start fialed!\n" }));
}

TEST_F(lost_player, is_listened_to_again)
{
    sound_connect_retry();
    bus_player_says("header-of-12", "playing");
    sound_close_retry();
    EXPECT_TRUE(logged("info: sound_notify_handler key: header-of-12playing, msg: playing\n"));
    EXPECT_EQ(bus_last_result(), 0);
}

TEST_F(lost_player, gets_what_was_asked_for_in_the_meantime)
{
    prompt_folder prompts;
    prompts.has("ding", "bytes");
    sound_play("ding", sound_queued, "");
    sound_connect_retry();
    bus_player_connects();
    sound_close_retry();
    EXPECT_EQ(bus_texts(), texts{ "bytes" });
}

TEST_F(lost_player, gets_nothing_that_was_queued_on_the_link_before)
{
    prompt_folder prompts;
    prompts.has("ding", "bytes");
    sound_connect_retry();
    bus_send_fails(1);
    sound_play("ding", sound_queued, "");
    sound_close();
    sound_connect_retry();
    bus_player_connects();
    sound_close_retry();
    EXPECT_EQ(bus_texts(), texts{});
}

TEST_F(lost_player, as_the_tenth_descriptor_ends_the_process)
{
    has_entries({ 200, 201, 202, 203, 204, 205, 206, 207, 208 });
    child_result child = run_in_child(sound_connect_retry);
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exit_status, 255);
    ASSERT_GE(child.story.size(), 12U);
    EXPECT_EQ(child.story.back(), "info: pollfds[9]: 60\n");
    const std::string &verdict = child.story.at(child.story.size() - 11);
    EXPECT_TRUE(verdict.starts_with("err: "));
    EXPECT_NE(verdict.find("camwarden.cpp, "), std::string::npos);
    EXPECT_NE(verdict.find(": too many sockets to track\n"), std::string::npos);
    EXPECT_EQ(child.story.at(child.story.size() - 12), "info: sound sockfd: 60\n");
}

TEST_F(lost_player, as_the_ninth_descriptor_is_allowed)
{
    has_entries({ 200, 201, 202, 203, 204, 205, 206, 207 });
    sound_connect_retry();
    EXPECT_EQ(kit.nfds, 9);
    EXPECT_FALSE(log_mentions("too many sockets"));
}
