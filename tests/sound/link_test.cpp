// SPDX-License-Identifier: MIT
// The link to the player: start, events, mute and unmute, end.
#include "sound_desk.h"

#include <cerrno>

struct sound_link : sound_desk {};

static const texts subscribed = { R"(wrax_rcv_create("/run/audio_play"))", "wrax_rcv_event(0, yes, null)",
                                  "wrax_rcv_event(1, yes, null)", "wrax_rcv_event(3, yes, null)",
                                  "wrax_rcv_start()" };

static texts subscribed_and(const texts &more)
{
    texts all = subscribed;
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

TEST_F(sound_link, starts_in_its_order_and_gives_its_descriptor)
{
    bus.player_listens = true;
    EXPECT_EQ(sound_init(nullptr), 60);
    EXPECT_EQ(story(), subscribed_and({ "wrax_rcv_fd()" }));
}

TEST_F(sound_link, without_a_receiver_does_not_start)
{
    bus.create_fails = true;
    EXPECT_EQ(sound_init(nullptr), -1);
    EXPECT_EQ(story(), (texts{ subscribed[0], "err: wrax_rcv_create AO_CONTROLLER fialed!\n" }));
}

TEST_F(sound_link, without_a_player_forgets_its_receiver)
{
    EXPECT_EQ(sound_init(nullptr), -1);
    EXPECT_EQ(story(), subscribed_and({ "err: wrax_rcv_start fialed!\n", "wrax_rcv_destroy()" }));
    EXPECT_EQ(bus_receivers(), 0);
    EXPECT_EQ(sound_ban(), -1);
}

TEST_F(sound_link, can_be_started_again_after_it_failed)
{
    sound_init(nullptr);
    bus.player_listens = true;
    EXPECT_EQ(sound_init(nullptr), 60);
}

TEST_F(sound_link, that_brought_no_descriptor_leaves_no_receiver_behind_when_it_is_tried_again)
{
    bus.player_listens = true;
    bus.fd = -1;
    EXPECT_EQ(sound_init(nullptr), -1);
    bus.fd = 60;
    EXPECT_EQ(sound_init(nullptr), 60);
    EXPECT_EQ(bus_receivers(), 1);
}

TEST_F(sound_link, is_ready_from_the_players_coming_to_its_leaving)
{
    link_is_up();
    EXPECT_EQ(sound_is_ready(), 0);
    player_connects();
    EXPECT_EQ(sound_is_ready(), 1);
    bus_player_leaves();
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(sound_is_ready(), 0);
    EXPECT_EQ(bus_receivers(), 1) << "the receiver stays";
    EXPECT_TRUE(in_order({ "debug: sound_is_ready: 0\n", "debug: on_wrax_ready", "debug: sound_is_ready: 1\n",
                           "debug: on_wrax_closed", "debug: sound_is_ready: 0\n" }));
}

TEST_F(sound_link, tells_the_store_that_the_player_is_ready)
{
    link_is_up();
    player_connects();
    EXPECT_EQ(story(), (texts{ "wrax_rcv_poll()", mem_set("sound_play", "ready"), "debug: on_wrax_ready" }));
    EXPECT_EQ(bus_last_result(), 0);
}

TEST_F(sound_link, of_a_player_that_comes_before_the_store_goes_on)
{
    selvar_nvram_exit();
    link_is_up();
    player_connects();
    EXPECT_EQ(sound_is_ready(), 1);
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{});
}

static std::string heard_key, heard_msg;

static int hears(const char *key, const char *msg)
{
    heard_key = key;
    heard_msg = msg;
    return 17;
}

TEST_F(sound_link, hands_on_a_message_and_the_text_behind_its_header)
{
    link_is_up(hears);
    bus_player_says("header-of-12", "playing");
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(heard_key, "header-of-12playing") << "the message as it came";
    EXPECT_EQ(heard_msg, "playing");
    EXPECT_EQ(bus_last_result(), 17);
    EXPECT_EQ(story(), (texts{ "wrax_rcv_poll()", "debug: on_wrax_message" }));
}

TEST_F(sound_link, without_a_handler_drops_a_message)
{
    link_is_up();
    bus_player_says("header-of-12", "playing");
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(bus_last_result(), 0);
    EXPECT_EQ(story(), (texts{ "wrax_rcv_poll()", "debug: on_wrax_message" }));
}

TEST_F(sound_link, that_fails_says_so)
{
    link_is_up();
    bus.poll_result = -1;
    bus.poll_errno = ECONNRESET;
    EXPECT_EQ(sound_recv(), -1);
    EXPECT_EQ(story(), (texts{ "wrax_rcv_poll()", "err: sound recv error no: 104\n" }));
}

TEST_F(sound_link, that_fails_without_an_error_number_lives_on)
{
    link_is_up();
    bus.poll_result = -1;
    bus.poll_errno = 0;
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(story(), texts{ "wrax_rcv_poll()" });
}

TEST_F(sound_link, does_not_take_an_old_error_for_its_own)
{
    link_is_up();
    bus.poll_result = -1;
    errno = EAGAIN;
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(story(), texts{ "wrax_rcv_poll()" });
}

TEST_F(sound_link, fails_once_the_players_leaving_was_told)
{
    link_is_up();
    player_connects();
    bus_player_leaves();
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(sound_recv(), -1);
    EXPECT_TRUE(logged("err: sound recv error no: " + std::to_string(ENOTCONN) + "\n"));
}

TEST_F(sound_link, mutes_and_unmutes_with_texts_that_have_no_terminator)
{
    link_is_up();
    sound_ban();
    sound_unban();
    EXPECT_EQ(bus_texts(), (texts{ "SOUND_BAN", "SOUND_UNBAN" }));
    EXPECT_EQ(story(), (texts{ "debug: sound ban\n", R"(wrax_rcv_send_message("SOUND_BAN", 9))",
                               "debug: sound unban\n", R"(wrax_rcv_send_message("SOUND_UNBAN", 11))" }));
}

TEST_F(sound_link, gives_back_what_the_bus_made_of_muting)
{
    link_is_up();
    bus.send_result = 5;
    EXPECT_EQ(sound_ban(), 5);
    EXPECT_EQ(sound_unban(), 5);
    bus_send_fails(1);
    EXPECT_EQ(sound_ban(), -1);
    bus_send_fails(1);
    EXPECT_EQ(sound_unban(), -1);
}

TEST_F(sound_link, that_is_not_there_neither_mutes_nor_unmutes)
{
    EXPECT_EQ(sound_ban(), -1);
    EXPECT_EQ(sound_unban(), -1);
    EXPECT_EQ(story(), (texts{ "err: sound ban wrax msg handle have not been created!\n",
                               "err: sound unban wrax msg handle have not been created!\n" }));
}

TEST_F(sound_link, ends_once)
{
    link_is_up();
    sound_exit();
    sound_exit();
    EXPECT_EQ(story(), texts{ "wrax_rcv_destroy()" });
    EXPECT_EQ(sound_ban(), -1);
}

TEST_F(sound_link, can_be_started_after_its_end)
{
    link_is_up();
    sound_exit();
    EXPECT_EQ(sound_init(nullptr), 60);
    EXPECT_EQ(sound_ban(), 0);
}
