// SPDX-License-Identifier: MIT
// The loop: whom each ready descriptor is handed to, what counts, and when it ends.
#include "core/loop.h"

#include "fakes/daemon_desk.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <deque>

// One pass of the script: the returned events of the entries in order, and the result of the wait.
struct pass {
    std::vector<short> revents;
    int result;
};

struct loop : daemon_desk {
    loop() : daemon_desk(nullptr)
    {
        kit.timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        kit.status_received = 1;
        platform.monotonic_s = 1001;
        record_clear();
    }
    ~loop() override
    {
        close(kit.timer_fd);
    }

    // Runs the passes, then lets the wait fail.
    void runs(const std::deque<pass> &script)
    {
        std::deque<pass> left = script;
        libc.on_poll = [&](pollfd *entries, nfds_t count, const timespec *, const sigset_t *) {
            waits++;
            if (left.empty()) {
                errno = ENOMEM;
                return -1;
            }
            pass now = left.front();
            left.pop_front();
            for (size_t i = 0; i < count; i++)
                entries[i].revents = i < now.revents.size() ? now.revents[i] : short{ 0 };
            return now.result;
        };
        loop_run();
    }

    // Without the failed wait that ends each script.
    static texts happened()
    {
        texts all = story();
        if (!all.empty() && all.back() == "perror(poll)")
            all.pop_back();
        return all;
    }

    static void player_is_up()
    {
        bus.player_listens = true;
        kit.sound_fd = sound_init(nullptr);
        record_clear();
    }

    static bool ticked()
    {
        return log_mentions("Retry connecting");
    }

    static bool store_served()
    {
        return called("libselvar_xhandle_response()");
    }

    int waits = 0;
};

static std::string broken(int index, int fd, const char *revents)
{
    return "warning: POLLNVAL | POLLHUP | POLLERR fd: pollfds[" + std::to_string(index) +
           "]: " + std::to_string(fd) + ", revents: " + revents + "\n";
}

TEST_F(loop, ends_when_the_wait_fails)
{
    runs({});
    EXPECT_EQ(waits, 1);
    EXPECT_EQ(story(), texts{ "perror(poll)" });
}

TEST_F(loop, waits_again_when_nothing_is_ready)
{
    runs({ { {}, 0 }, { {}, 0 } });
    EXPECT_EQ(waits, 3);
    EXPECT_EQ(happened(), texts{});
}

TEST_F(loop, waits_for_the_used_entries_and_a_tenth_of_a_second)
{
    has_entries({ kit.timer_fd, kit.mc_fd });
    nfds_t count = 0;
    int64_t milliseconds = -1;
    libc.on_poll = [&](pollfd *entries, nfds_t used, const timespec *timeout, const sigset_t *) {
        EXPECT_EQ(entries, kit.pollfds);
        count = used;
        milliseconds = timeout->tv_sec * 1000 + timeout->tv_nsec / 1000000;
        return -1;
    };
    loop_run();
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(milliseconds, 100);
}

TEST_F(loop, does_not_wait_when_it_is_to_end)
{
    kit.exiting = 1;
    runs({ { {}, 0 } });
    EXPECT_EQ(waits, 0);
}

TEST_F(loop, hands_the_cloud_socket_to_the_link)
{
    has_entries({ kit.otd_sock });
    cloud.writes(R"({"id":7,"method":"local.did","params":5})");
    runs({ { { POLLIN }, 1 } });
    EXPECT_TRUE(logged("err: kivo_did = 5\n"));
}

TEST_F(loop, hands_the_timer_to_the_tick)
{
    kit.otd_sock = 0; // so that a tick shows
    has_entries({ kit.timer_fd });
    runs({ { { POLLIN }, 1 } });
    EXPECT_TRUE(ticked());
}

TEST_F(loop, hands_the_store_descriptor_to_the_store)
{
    has_entries({ kit.mc_fd });
    runs({ { { POLLIN }, 1 } });
    EXPECT_TRUE(store_served());
}

TEST_F(loop, hands_the_players_descriptor_to_its_link)
{
    player_is_up();
    has_entries({ kit.sound_fd });
    runs({ { { POLLIN }, 1 } });
    EXPECT_EQ(happened(), texts{ "wrax_rcv_poll()" });
}

TEST_F(loop, asks_the_store_before_the_player)
{
    player_is_up();
    kit.sound_fd = kit.mc_fd;
    has_entries({ kit.mc_fd });
    runs({ { { POLLIN }, 1 } });
    EXPECT_EQ(happened(), texts{ "libselvar_xhandle_response()" });
}

TEST_F(loop, closes_the_player_before_the_store)
{
    player_is_up();
    kit.sound_fd = kit.mc_fd;
    has_entries({ kit.mc_fd });
    runs({ { { POLLERR }, 1 } });
    EXPECT_EQ(kit.sound_fd, 0);
    EXPECT_GT(kit.mc_fd, 0);
}

TEST_F(loop, closes_the_cloud_link_before_the_player)
{
    player_is_up();
    kit.sound_fd = kit.otd_sock;
    has_entries({ kit.otd_sock });
    runs({ { { POLLERR }, 1 } });
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_GT(kit.sound_fd, 0);
}

TEST_F(loop, leaves_an_unknown_readable_descriptor_alone_but_counts_it)
{
    has_entries({ 300, kit.mc_fd });
    runs({ { { POLLIN, POLLIN }, 1 } });
    EXPECT_EQ(happened(), texts{});
    EXPECT_EQ(kit.nfds, 2);
}

TEST_F(loop, stops_looking_when_all_that_is_ready_was_handled)
{
    kit.otd_sock = 0;
    has_entries({ kit.mc_fd, kit.timer_fd });
    runs({ { { POLLIN, POLLIN }, 1 } });
    EXPECT_TRUE(store_served());
    EXPECT_FALSE(ticked());
}

TEST_F(loop, passes_over_entries_without_events_and_does_not_count_them)
{
    has_entries({ 300, 301, kit.mc_fd });
    runs({ { { 0, POLLPRI, POLLIN }, 1 } });
    EXPECT_TRUE(store_served());
}

TEST_F(loop, handles_several_in_one_pass)
{
    cloud.writes(R"({"id":7,"method":"local.did","params":5})");
    has_entries({ kit.otd_sock, kit.mc_fd });
    runs({ { { POLLIN, POLLIN }, 2 } });
    EXPECT_TRUE(in_order({ "err: kivo_did = 5\n", "libselvar_xhandle_response()" }));
}

TEST_F(loop, logs_a_writable_cloud_socket_and_counts_it)
{
    has_entries({ kit.otd_sock, kit.mc_fd });
    runs({ { { POLLOUT, POLLIN }, 1 } });
    EXPECT_EQ(happened(), texts{ "info: POLLOUT fd: " + std::to_string(kit.otd_sock) + "\n" });
}

TEST_F(loop, says_nothing_of_another_writable_descriptor_but_counts_it)
{
    has_entries({ 300, kit.mc_fd });
    runs({ { { POLLOUT, POLLIN }, 1 } });
    EXPECT_EQ(happened(), texts{});
}

TEST_F(loop, reads_what_is_readable_before_it_minds_an_error)
{
    has_entries({ kit.mc_fd });
    runs({ { { POLLIN | POLLHUP }, 1 } });
    EXPECT_EQ(happened(), texts{ "libselvar_xhandle_response()" });
    EXPECT_GT(kit.mc_fd, 0);
}

TEST_F(loop, minds_a_writable_descriptor_before_an_error)
{
    has_entries({ kit.mc_fd });
    runs({ { { POLLOUT | POLLERR }, 1 } });
    EXPECT_EQ(happened(), texts{});
    EXPECT_GT(kit.mc_fd, 0);
}

struct error_event {
    const char *name;
    short revents;
    const char *shown;
};

struct broken_link : loop, testing::WithParamInterface<error_event> {};

TEST_P(broken_link, to_the_cloud_is_closed)
{
    int socket = kit.otd_sock;
    has_entries({ 300, socket });
    watch_close(socket);
    runs({ { { 0, GetParam().revents }, 1 } });
    EXPECT_EQ(happened(),
              (texts{ broken(1, socket, GetParam().shown), "close(" + std::to_string(socket) + ")" }));
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 1);
}

TEST_P(broken_link, to_the_store_is_closed)
{
    has_entries({ kit.mc_fd });
    runs({ { { GetParam().revents }, 1 } });
    EXPECT_EQ(happened(), (texts{ broken(0, 40, GetParam().shown), "libselvar_close()" }));
    EXPECT_EQ(kit.mc_fd, 0);
    EXPECT_EQ(kit.nfds, 0);
}

TEST_P(broken_link, to_the_player_is_closed)
{
    player_is_up();
    has_entries({ 300, kit.sound_fd });
    runs({ { { 0, GetParam().revents }, 1 } });
    EXPECT_EQ(happened(), (texts{ broken(1, 60, GetParam().shown), "wrax_rcv_destroy()" }));
    EXPECT_EQ(kit.sound_fd, 0);
    EXPECT_EQ(kit.nfds, 1);
}

TEST_P(broken_link, of_nobody_is_closed_and_removed)
{
    int foreign = dup(STDERR_FILENO);
    watch_close(foreign);
    has_entries({ kit.timer_fd, foreign, kit.mc_fd });
    runs({ { { 0, GetParam().revents, 0 }, 1 } });
    EXPECT_EQ(happened(),
              (texts{ broken(1, foreign, GetParam().shown), "close(" + std::to_string(foreign) + ")" }));
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.pollfds[1].fd, kit.mc_fd);
}

INSTANTIATE_TEST_SUITE_P(events, broken_link,
                         testing::Values(error_event{ "error", POLLERR, "0x00000008" },
                                         error_event{ "hang_up", POLLHUP, "0x00000010" },
                                         error_event{ "invalid", POLLNVAL, "0x00000020" },
                                         error_event{ "sign_bit", static_cast<short>(0x8008), "0xffff8008" }),
                         [](const auto &row) { return row.param.name; });

TEST_F(loop, does_not_look_at_the_entry_that_moved_into_a_removed_ones_place_before_the_next_pass)
{
    int foreign = dup(STDERR_FILENO);
    has_entries({ foreign, kit.mc_fd });
    int served_in_pass = 0;
    libc.on_poll = [&](pollfd *entries, nfds_t, const timespec *, const sigset_t *) {
        waits++;
        if (served_in_pass == 0 && store_served())
            served_in_pass = waits - 1;
        entries[0].revents = waits == 1 ? POLLHUP : POLLIN;
        entries[1].revents = POLLIN;
        return waits <= 2 ? 3 - waits : -1;
    };
    loop_run();
    EXPECT_EQ(served_in_pass, 2);
}

TEST_F(loop, closes_the_timer_like_any_descriptor_of_nobody)
{
    int timer = kit.timer_fd;
    kit.timer_fd = dup(timer);
    int broken_timer = kit.timer_fd;
    watch_close(broken_timer);
    has_entries({ broken_timer });
    runs({ { { POLLNVAL }, 1 } });
    EXPECT_TRUE(called("close(" + std::to_string(broken_timer) + ")"));
    EXPECT_EQ(kit.nfds, 0);
    kit.timer_fd = timer;
}

TEST_F(loop, compares_a_descriptor_with_the_record_as_it_is_when_its_turn_comes)
{
    has_entries({ kit.otd_sock, 300, kit.mc_fd });
    cloud.hangs_up();
    runs({ { { POLLIN, 0, POLLIN }, 2 } });
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_TRUE(store_served()) << "it has moved from place 2 to place 1, which is looked at next";
}

TEST_F(loop, opens_the_interrupt_only_while_it_waits)
{
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    loop_block_sigint();
    bool open_in_the_wait = false;
    bool blocked_around_it = false;
    libc.on_poll = [&](pollfd *, nfds_t, const timespec *, const sigset_t *mask) {
        sigset_t now;
        pthread_sigmask(SIG_BLOCK, nullptr, &now);
        blocked_around_it = sigismember(&now, SIGINT) == 1;
        open_in_the_wait = mask != nullptr && sigismember(mask, SIGINT) == 0;
        return -1;
    };
    loop_run();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_TRUE(open_in_the_wait);
    EXPECT_TRUE(blocked_around_it);
}
