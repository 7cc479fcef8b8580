// SPDX-License-Identifier: MIT
#include "bus_desk.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

using texts = std::vector<std::string>;

STORY(wraxev, handlers_are_taken_for_the_three_events_and_no_other)
{
    wrax_rcv *receiver = wrax_rcv_create(bus_path().c_str());
    for (int event : { 0, 1, 3 })
        EXPECT_EQ(wrax_rcv_event(receiver, event, bus_note_left, nullptr), 0) << event;
    for (int event : { -1, 2, 4 })
        EXPECT_EQ(wrax_rcv_event(receiver, event, bus_note_left, nullptr), -1) << event;
    wrax_rcv_destroy(receiver);
}

STORY(wraxev, a_receiver_that_was_not_started_has_no_descriptor)
{
    bus_desk desk;
    receiver_is_made(desk);
    EXPECT_LT(wrax_rcv_fd(desk.receiver), 0);
    bus_close(desk);
}

STORY(wraxev, polling_a_receiver_that_was_not_started_fails_and_brings_no_event)
{
    bus_desk desk;
    receiver_is_made(desk);
    errno = 0;
    EXPECT_LT(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_NE(errno, 0);
    EXPECT_EQ(desk.told, texts{});
    bus_close(desk);
}

STORY(wraxev, a_start_alone_brings_no_event)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    EXPECT_FALSE(is_readable(wrax_rcv_fd(desk.receiver)));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, texts{});
    bus_close(desk);
}

STORY(wraxev, that_the_player_connected_makes_the_descriptor_readable_and_is_told_once_by_a_poll)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    player_serves(desk);

    EXPECT_TRUE(is_readable(wrax_rcv_fd(desk.receiver)));
    EXPECT_EQ(desk.told, texts{});
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, texts{ "connected" });
    EXPECT_FALSE(is_readable(wrax_rcv_fd(desk.receiver)));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, texts{ "connected" });
    bus_close(desk);
}

STORY(wraxev, a_poll_with_nothing_to_tell_succeeds)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, texts{});
    bus_close(desk);
}

STORY(wraxev, messages_come_when_the_descriptor_is_readable_and_in_order)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_TRUE(bus_say(desk.player, "player", "played booting"));
    EXPECT_TRUE(bus_say(desk.player, "volume", "80"));
    EXPECT_TRUE(is_readable(wrax_rcv_fd(desk.receiver)));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, (texts{ "player: played booting", "volume: 80" }));
    bus_close(desk);
}

STORY(wraxev, many_messages_come_without_loss)
{
    bus_desk desk;
    bus_connect(desk);
    texts said;
    for (int i = 0; i < 150; i++) {
        said.push_back("player: " + std::to_string(i));
        EXPECT_TRUE(bus_say(desk.player, "player", std::to_string(i)));
    }
    while (is_readable(wrax_rcv_fd(desk.receiver)))
        ASSERT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, said);
    bus_close(desk);
}

struct raw_message {
    std::string header;
    std::string text;
};

static int keep_raw(wrax_rcv *, const void *message, void *argument)
{
    const char *bytes = static_cast<const char *>(message);
    *static_cast<raw_message *>(argument) = { std::string(bytes, 12), bytes + 12 };
    return 0;
}

STORY(wraxev, a_message_is_a_header_of_12_bytes_and_a_text_with_its_end)
{
    bus_desk desk;
    bus_connect(desk);
    raw_message raw;
    wrax_rcv_event(desk.receiver, 3, keep_raw, &raw);
    EXPECT_TRUE(bus_say(desk.player, "longer before", std::string(300, 'x')));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_TRUE(bus_say(desk.player, "player", "brief"));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_EQ(raw.header, std::string("player\0\0\0\0\0\0", 12));
    EXPECT_EQ(raw.text, "brief");
    bus_close(desk);
}

STORY(wraxev, a_packet_too_short_for_a_header_is_a_message_with_an_empty_text)
{
    bus_desk desk;
    bus_connect(desk);
    raw_message raw;
    wrax_rcv_event(desk.receiver, 3, keep_raw, &raw);
    EXPECT_TRUE(bus_say(desk.player, "longer name", "a text before it"));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_TRUE(bus_greet(desk.player)); // nothing that a receiver expects a second time
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_EQ(raw.header, std::string("wrax 1\0\0\0\0\0\0", 12));
    EXPECT_EQ(raw.text, "");
    bus_close(desk);
}

STORY(wraxev, an_event_that_nobody_wants_is_passed_over)
{
    bus_desk desk;
    player_listens(desk);
    desk.receiver = wrax_rcv_create(bus_path().c_str());
    ASSERT_GE(wrax_rcv_start(desk.receiver), 0);
    player_serves(desk);
    EXPECT_TRUE(bus_say(desk.player, "player", "text"));
    player_leaves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_LT(wrax_rcv_poll(desk.receiver), 0);
    bus_close(desk);
}

static int answer_at_once(wrax_rcv *receiver, const void *, void *result)
{
    *static_cast<int *>(result) = wrax_rcv_send_message(receiver, "SOUND_UNBAN", 11);
    return 0;
}

STORY(wraxev, the_handler_that_is_told_of_the_connection_can_send)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    int result = -2;
    wrax_rcv_event(desk.receiver, 0, answer_at_once, &result);
    player_serves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_GE(result, 0);
    EXPECT_EQ(player_reads(desk), texts{ "SOUND_UNBAN" });
    bus_close(desk);
}

// Event 1 has been told by a poll that succeeded; from now on polls fail and the descriptor stays readable.
static void expect_it_is_over(bus_desk &desk)
{
    desk.told.clear();
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(is_readable(wrax_rcv_fd(desk.receiver)));
        errno = 0;
        EXPECT_LT(wrax_rcv_poll(desk.receiver), 0);
        EXPECT_NE(errno, 0);
    }
    EXPECT_EQ(desk.told, texts{});
}

STORY(wraxev, that_the_player_left_is_told_once_and_then_polls_fail)
{
    bus_desk desk;
    bus_connect(desk);
    player_leaves(desk);
    EXPECT_TRUE(is_readable(wrax_rcv_fd(desk.receiver)));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, texts{ "left" });
    expect_it_is_over(desk);
    bus_close(desk);
}

STORY(wraxev, what_the_player_said_before_it_left_comes_first)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_TRUE(bus_say(desk.player, "player", "goodbye"));
    player_leaves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, (texts{ "player: goodbye", "left" }));
    expect_it_is_over(desk);
    bus_close(desk);
}

STORY(wraxev, a_player_that_left_with_a_prompt_unread_is_heard_to_its_end_too)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_TRUE(bus_say(desk.player, "player", "goodbye"));
    EXPECT_GE(wrax_rcv_send_message(desk.receiver, "never read", 10), 0);
    player_leaves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, (texts{ "player: goodbye", "left" }));
    expect_it_is_over(desk);
    bus_close(desk);
}

STORY(wraxev, a_player_that_is_killed_has_left)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    const pid_t player = desk_begin_process([&] {
        player_serves(desk);
        for (;;)
            pause();
    });
    ASSERT_TRUE(desk_wait([&] { return is_readable(wrax_rcv_fd(desk.receiver)); }));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    kill(player, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(desk_end_process(player)));
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    EXPECT_EQ(desk.told, (texts{ "connected", "left" }));
    expect_it_is_over(desk);
    bus_close(desk);
}

STORY(wraxev, a_player_that_ends_before_it_served_was_never_connected)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    close(desk.listener);
    desk.listener = -1;
    EXPECT_TRUE(is_readable(wrax_rcv_fd(desk.receiver)));
    expect_it_is_over(desk);
    bus_close(desk);
}

STORY(wraxev, after_its_end_a_new_receiver_reaches_the_next_player)
{
    bus_desk desk;
    bus_connect(desk);
    player_leaves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);
    bus_close(desk);

    bus_desk next;
    bus_connect(next);
    EXPECT_GE(wrax_rcv_send_message(next.receiver, "SOUND_BAN", 9), 0);
    EXPECT_EQ(player_reads(next), texts{ "SOUND_BAN" });
    bus_close(next);
}
