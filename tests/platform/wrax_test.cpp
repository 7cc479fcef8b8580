// SPDX-License-Identifier: MIT
#include "bus_desk.h"

#include "common/host_time.h"

#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <csignal>

using texts = std::vector<std::string>;

// Different in every place, so that nothing lost or moved goes unnoticed.
static std::string long_message(size_t size, unsigned seed = 1)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<char>((i * 31 + i / 251 + seed) % 256);
    return bytes;
}

static int send_text(const bus_desk &desk, const std::string &text)
{
    return wrax_rcv_send_message(desk.receiver, text.data(), static_cast<int>(text.size()));
}

STORY(wrax, the_bus_can_be_opened_and_closed)
{
    EXPECT_EQ(wrax_rcv_global_init(), 0);
    wrax_rcv_global_exit();
}

STORY(wrax, a_receiver_is_made_for_a_path_and_destroyed_by_the_caller)
{
    wrax_rcv *receiver = wrax_rcv_create("/run/audio_play");
    EXPECT_NE(receiver, nullptr);
    wrax_rcv_destroy(receiver);
}

STORY(wrax, without_a_path_that_a_socket_can_have_there_is_no_receiver)
{
    EXPECT_EQ(wrax_rcv_create(nullptr), nullptr);
    EXPECT_EQ(wrax_rcv_create(""), nullptr);
    EXPECT_EQ(wrax_rcv_create(("/" + std::string(sizeof(sockaddr_un::sun_path), 'x')).c_str()), nullptr);
}

STORY(wrax, a_start_fails_while_nobody_listens_and_can_be_tried_again)
{
    bus_desk desk;
    receiver_is_made(desk);
    const size_t open_before = open_descriptors();
    errno = 0;
    EXPECT_LT(wrax_rcv_start(desk.receiver), 0);
    EXPECT_NE(errno, 0);
    EXPECT_LT(wrax_rcv_fd(desk.receiver), 0);
    EXPECT_EQ(open_descriptors(), open_before);

    player_listens(desk);

    EXPECT_GE(wrax_rcv_start(desk.receiver), 0);
    bus_close(desk);
}

STORY(wrax, a_start_fails_at_the_socket_that_a_dead_player_left)
{
    bus_desk desk;
    player_listens(desk);
    close(desk.listener);
    desk.listener = -1;
    receiver_is_made(desk);
    EXPECT_LT(wrax_rcv_start(desk.receiver), 0);
    bus_close(desk);
}

STORY(wrax, a_start_does_not_wait_for_a_player_that_takes_nobody)
{
    bus_desk desk;
    player_listens(desk);
    const int64_t before_ms = host_time_ms();
    std::vector<wrax_rcv *> receivers;
    bool refused = false;
    for (int i = 0; i < 50 && !refused; i++) {
        receivers.push_back(wrax_rcv_create(bus_path().c_str()));
        refused = wrax_rcv_start(receivers.back()) < 0;
    }
    EXPECT_TRUE(refused);
    EXPECT_LT(host_time_ms() - before_ms, 5000);
    for (wrax_rcv *receiver : receivers)
        wrax_rcv_destroy(receiver);
    bus_close(desk);
}

STORY(wrax, a_started_receiver_has_a_descriptor_that_no_child_inherits)
{
    bus_desk desk;
    player_listens(desk);
    receiver_starts(desk);
    const int fd = wrax_rcv_fd(desk.receiver);
    ASSERT_GE(fd, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    bus_close(desk);
}

STORY(wrax, destroying_a_receiver_closes_its_descriptor_and_the_player_hears_of_it)
{
    bus_desk desk;
    bus_connect(desk);
    const int fd = wrax_rcv_fd(desk.receiver);
    const size_t open_before = open_descriptors();

    wrax_rcv_destroy(desk.receiver);
    desk.receiver = nullptr;

    EXPECT_EQ(open_descriptors(), open_before - 1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    std::string message;
    EXPECT_EQ(bus_receive(desk.player, message), bus_event::left);
    bus_close(desk);
}

STORY(wrax, no_receiver_at_all_may_be_destroyed)
{
    wrax_rcv_destroy(nullptr);
}

STORY(wrax, a_receiver_runs_no_thread)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_EQ(send_text(desk, "SOUND_UNBAN"), 0);
    EXPECT_EQ(entries_of("/proc/self/task"), 1U);
    bus_close(desk);
}

STORY(wrax, messages_arrive_as_they_were_sent_one_by_one_and_in_order)
{
    bus_desk desk;
    bus_connect(desk);
    const texts sent = { "SOUND_BAN", std::string("a\0b\0", 4), "x", "SOUND_UNBAN" };
    for (const std::string &message : sent)
        EXPECT_GE(send_text(desk, message), 0);
    EXPECT_EQ(player_reads(desk), sent);
    bus_close(desk);
}

STORY(wrax, a_message_of_65536_bytes_arrives_whole)
{
    bus_desk desk;
    bus_connect(desk);
    const texts sent = { long_message(65536), long_message(4464, 7) };
    for (const std::string &message : sent)
        EXPECT_GE(send_text(desk, message), 0);
    EXPECT_TRUE(player_reads(desk) == sent);
    bus_close(desk);
}

STORY(wrax, what_is_no_message_is_refused_and_nothing_of_it_arrives)
{
    bus_desk desk;
    bus_connect(desk);
    EXPECT_LT(wrax_rcv_send_message(nullptr, "text", 4), 0);
    EXPECT_LT(wrax_rcv_send_message(desk.receiver, nullptr, 4), 0);
    EXPECT_LT(wrax_rcv_send_message(desk.receiver, "text", 0), 0);
    EXPECT_LT(wrax_rcv_send_message(desk.receiver, "text", -1), 0);
    EXPECT_LT(send_text(desk, long_message(65537)), 0);
    EXPECT_EQ(player_reads(desk), texts{});
    bus_close(desk);
}

STORY(wrax, nothing_can_be_sent_before_the_start_and_before_the_player_has_connected)
{
    bus_desk desk;
    player_listens(desk);
    receiver_is_made(desk);
    EXPECT_LT(send_text(desk, "SOUND_BAN"), 0);
    ASSERT_GE(wrax_rcv_start(desk.receiver), 0);
    errno = 0;
    EXPECT_LT(send_text(desk, "SOUND_BAN"), 0);
    EXPECT_NE(errno, 0);

    player_serves(desk);
    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_GE(send_text(desk, "SOUND_UNBAN"), 0);
    EXPECT_EQ(player_reads(desk), texts{ "SOUND_UNBAN" });
    bus_close(desk);
}

STORY(wrax, sending_to_a_player_that_left_fails_and_no_signal_ends_the_sender)
{
    signal(SIGPIPE, SIG_DFL);
    bus_desk desk;
    bus_connect(desk);
    player_leaves(desk);
    errno = 0;
    EXPECT_LT(send_text(desk, "SOUND_BAN"), 0);
    EXPECT_NE(errno, 0);

    EXPECT_GE(wrax_rcv_poll(desk.receiver), 0);

    EXPECT_EQ(desk.told, texts{ "left" });
    EXPECT_LT(send_text(desk, "SOUND_BAN"), 0);
    bus_close(desk);
}

// Fills the way to the player until a send fails; what went.
static texts send_until_refused(const bus_desk &desk)
{
    constexpr int more_than_fits = 1000;
    texts sent;
    for (unsigned i = 0; i < more_than_fits; i++) {
        std::string message = long_message(65536, i);
        errno = 0;
        if (send_text(desk, message) < 0)
            return sent;
        sent.push_back(std::move(message));
    }
    ADD_FAILURE() << "a player that reads nothing was sent everything";
    return sent;
}

STORY(wrax, a_player_that_does_not_read_is_waited_for_a_moment_and_no_longer)
{
    bus_desk desk;
    bus_connect(desk);
    const int64_t before_ms = host_time_ms();
    const texts sent = send_until_refused(desk);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_GE(host_time_ms() - before_ms, 300);
    EXPECT_LT(host_time_ms() - before_ms, 3000);
    // Room for a prompt or two is there at once.
    EXPECT_GE(sent.size(), 3U);
    bus_close(desk);
}

STORY(wrax, what_a_slow_player_gets_in_the_end_are_whole_messages)
{
    bus_desk desk;
    bus_connect(desk);
    const texts sent = send_until_refused(desk);
    EXPECT_TRUE(player_reads(desk) == sent);
    bus_close(desk);
}

STORY(wrax, a_player_that_was_waited_for_in_vain_is_not_waited_for_again_until_it_reads)
{
    bus_desk desk;
    bus_connect(desk);
    send_until_refused(desk);
    const int64_t before_ms = host_time_ms();
    for (int i = 0; i < 100; i++)
        EXPECT_LT(send_text(desk, long_message(65536)), 0);
    EXPECT_LT(host_time_ms() - before_ms, 3000);

    player_reads(desk);

    EXPECT_GE(send_text(desk, "SOUND_BAN"), 0);
    EXPECT_EQ(player_reads(desk), texts{ "SOUND_BAN" });
    bus_close(desk);
}

// Reads with pauses until the receiver is gone, and says whether so many messages came, in order.
static void read_slowly(const bus_desk &desk, unsigned messages)
{
    std::string message;
    unsigned count = 0;
    for (;;) {
        const bus_event event = bus_receive(desk.player, message);
        if (event == bus_event::left)
            break;
        if (event == bus_event::message) {
            EXPECT_TRUE(message == long_message(65536, count)) << count;
            count++;
        }
        poll(nullptr, 0, 2);
    }
    EXPECT_EQ(count, messages);
}

static void interrupt(int) {}

STORY(wrax, a_player_that_reads_slowly_gets_everything_also_when_signals_interrupt_the_sender)
{
    constexpr unsigned messages = 60; // much more than fits on the way
    bus_desk desk;
    bus_connect(desk);
    const pid_t player = desk_begin_process([&] {
        wrax_rcv_destroy(desk.receiver); // its copy
        read_slowly(desk, messages);
    });
    struct sigaction action = {};
    action.sa_handler = interrupt;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = { .it_interval = { 0, 5000 }, .it_value = { 0, 5000 } };
    setitimer(ITIMER_REAL, &often, nullptr);

    for (unsigned i = 0; i < messages; i++)
        EXPECT_GE(send_text(desk, long_message(65536, i)), 0) << i;

    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    wrax_rcv_destroy(desk.receiver);
    EXPECT_EQ(desk_end_process(player), 0);
}

STORY(wrax, signals_do_not_make_the_wait_for_a_player_longer)
{
    bus_desk desk;
    bus_connect(desk);
    struct sigaction action = {};
    action.sa_handler = interrupt;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = { .it_interval = { 0, 5000 }, .it_value = { 0, 5000 } };
    setitimer(ITIMER_REAL, &often, nullptr);
    const int64_t before_ms = host_time_ms();

    send_until_refused(desk);

    EXPECT_LT(host_time_ms() - before_ms, 3000);
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    bus_close(desk);
}
