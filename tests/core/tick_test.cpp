// SPDX-License-Identifier: MIT
// The one-second tick: the clock, the links, the status; and the two queries.
#include "core/dispatcher.h"
#include "core/otd_link.h"
#include "spec/service.h"
#include "tick_desk.h"
#include "util/children.h"

#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

TEST_F(tick, with_nothing_due_does_nothing)
{
    EXPECT_EQ(ticks(), texts{});
    EXPECT_FALSE(log_mentions("Retry"));
}

TEST_F(tick, reads_the_expirations_so_that_the_timer_falls_silent)
{
    itimerspec at_once = {};
    at_once.it_value.tv_nsec = 1;
    timerfd_settime(kit.timer_fd, 0, &at_once, nullptr);
    pollfd entry = { kit.timer_fd, POLLIN, 0 };
    ASSERT_EQ(poll(&entry, 1, 1000), 1);
    ticks();
    EXPECT_EQ(poll(&entry, 1, 0), 0);
}

TEST_F(tick, of_another_descriptor_is_refused_after_it_was_read)
{
    int other = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    itimerspec at_once = {};
    at_once.it_value.tv_nsec = 1;
    timerfd_settime(other, 0, &at_once, nullptr);
    pollfd entry = { other, POLLIN, 0 };
    ASSERT_EQ(poll(&entry, 1, 1000), 1);

    kit.status_received = 0;
    record_clear();
    EXPECT_EQ(tick_handler(other), 0);
    EXPECT_EQ(story(), texts{ "warning: timer fd unknown: " + std::to_string(other) + "\n" });
    EXPECT_EQ(poll(&entry, 1, 0), 0);
    close(other);
}

TEST_F(tick, asks_for_the_time_every_sixteenth_second_while_the_clock_is_unset)
{
    for (uint32_t second = 1008; second < 1056; second++) {
        platform.next_random_id = 501;
        EXPECT_EQ(ticks_at(second), second % 16 == 0 ? texts{ time_query } : texts{}) << second;
    }
}

TEST_F(tick, asks_for_the_time_half_an_hour_after_the_clock_was_set)
{
    kit.time_set_at = 1000;
    EXPECT_EQ(ticks_at(1008), texts{}) << "a multiple of 16 does not matter now";
    EXPECT_EQ(ticks_at(2799), texts{});
    EXPECT_EQ(ticks_at(2800), texts{ time_query });
}

TEST_F(tick, repeats_the_query_every_second_until_the_clock_is_set_again)
{
    kit.time_set_at = 1000;
    for (uint32_t second : { 2800U, 2801U, 2802U }) {
        platform.next_random_id = 501;
        EXPECT_EQ(ticks_at(second), texts{ time_query });
    }
    kit.time_set_at = 2802;
    EXPECT_EQ(ticks_at(2803), texts{});
}

static void cloud_tells_the_time(const char *seconds)
{
    platform.next_random_id = 501;
    const std::string answer = R"({"id":501,"method":"local.time","params":)" + std::string(seconds) + "}";
    EXPECT_EQ(msg_dispatcher(answer.c_str(), static_cast<int>(answer.size()), kit.otd_sock, 0), 0);
}

TEST_F(tick, repeats_the_query_after_a_time_that_is_ignored)
{
    kit.time_set_at = 1000;
    EXPECT_EQ(ticks_at(2801), texts{ time_query });
    cloud_tells_the_time("315532799");
    EXPECT_EQ(calls_of("settimeofday"), texts{});
    EXPECT_EQ(ticks_at(2802), texts{ time_query });
    cloud_tells_the_time("1700000000");
    EXPECT_EQ(ticks_at(2803), texts{});
}

TEST_F(tick, repeats_the_query_after_a_time_that_could_not_be_set)
{
    kit.time_set_at = 1000;
    EXPECT_EQ(ticks_at(2801), texts{ time_query });
    libc.settimeofday_result = -1;
    cloud_tells_the_time("1700000000");
    EXPECT_EQ(calls_of("settimeofday").size(), 1U);
    EXPECT_EQ(ticks_at(2802), texts{ time_query });
    libc.settimeofday_result = 0;
    cloud_tells_the_time("1700000000");
    EXPECT_EQ(ticks_at(2803), texts{});
}

TEST_F(tick, asks_for_the_status_every_second_until_the_cloud_client_has_told_it)
{
    kit.status_received = 0;
    for (uint32_t second : { 1001U, 1002U }) {
        platform.next_random_id = 501;
        EXPECT_EQ(ticks_at(second), texts{ status_query });
    }
    kit.status_received = 1;
    EXPECT_EQ(ticks_at(1003), texts{});
}

TEST_F(tick, asks_for_the_time_before_the_status)
{
    kit.status_received = 0;
    EXPECT_EQ(ticks_at(1008),
              (texts{ time_query, R"({"id":502,"method":"local.query_status","params":null})" }));
}

TEST_F(tick, does_not_ask_for_the_status_while_the_link_is_down)
{
    kit.status_received = 0;
    kit.otd_sock = 0;
    kit.reconnect_time = 1001;
    EXPECT_EQ(ticks(), texts{});
    EXPECT_FALSE(log_mentions("otd_status_check"));
}

TEST_F(tick, takes_the_children_that_have_ended)
{
    child_start("/some/script");
    siginfo_t information = {};
    ASSERT_EQ(waitid(P_ALL, 0, &information, WEXITED | WNOWAIT), 0);
    ticks();
    EXPECT_EQ(waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT), -1);
}

struct tick_without_cloud : tick {
    tick_without_cloud()
    {
        kit.otd_sock = 0;
        kit.nfds = 1;
        strcpy(g_did, "1234567");
    }
    ~tick_without_cloud() override
    {
        if (kit.otd_sock > 0)
            close(kit.otd_sock);
    }
};

TEST_F(tick_without_cloud, brings_the_link_back_five_seconds_after_the_last_attempt)
{
    cloud_listener listener;
    kit.reconnect_time = 1000;
    ticks_at(1004);
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(calls_of("connect"), texts{});
    ticks_at(1005);
    EXPECT_GT(kit.otd_sock, 0);
    EXPECT_EQ(kit.pollfds[1].fd, kit.otd_sock);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.reconnect_time, 1005U);
}

TEST_F(tick_without_cloud, gives_the_new_socket_to_the_spec_service)
{
    cloud_listener listener;
    ticks_at(1005);
    EXPECT_EQ(spec_sock, kit.otd_sock);
    EXPECT_STREQ(spec_did, "1234567");
    EXPECT_EQ(spec_rpc_dispatch, &msg_dispatcher);
}

TEST_F(tick_without_cloud, asks_for_the_status_in_the_same_tick)
{
    cloud_listener listener;
    kit.status_received = 0;
    texts sent = ticks_at(1005);
    ASSERT_EQ(sent.size(), register_keys.size() + 1);
    EXPECT_EQ(sent.back(), status_query);
}

TEST_F(tick_without_cloud, tells_the_spec_service_of_a_failed_attempt_too)
{
    spec_sock = 77;
    ticks_at(1005);
    EXPECT_EQ(kit.otd_sock, -1);
    EXPECT_EQ(spec_sock, -1);
    EXPECT_EQ(kit.reconnect_time, 1005U);
}

TEST_F(tick_without_cloud, tries_again_five_seconds_later)
{
    ticks_at(1005);
    ticks_at(1009);
    EXPECT_EQ(calls_of("connect"), texts{});
    ticks_at(1010);
    EXPECT_EQ(calls_of("connect"), texts{ "connect(127.0.0.1:54320)" });
}

TEST_F(tick_without_cloud, the_wait_holds_across_the_wrap_of_the_clock)
{
    kit.reconnect_time = UINT32_MAX - 1;
    ticks_at(2);
    EXPECT_EQ(calls_of("connect"), texts{});
    ticks_at(3);
    EXPECT_EQ(calls_of("connect").size(), 1U);
}

TEST_F(tick_without_cloud, a_time_query_that_is_due_is_a_warning)
{
    kit.reconnect_time = 1006;
    ticks_at(1008);
    EXPECT_TRUE(logged("warning: time_sync(), otd_sock not ready: 0\n"));
}

struct tick_without_store : tick {
    tick_without_store()
    {
        selvar_nvram_exit();
        kit.mc_fd = 0;
        kit.nfds = 1;
    }
};

TEST_F(tick_without_store, brings_the_store_back_in_a_second_without_another_attempt)
{
    kit.reconnect_time = 1001;
    ticks_at(1001);
    EXPECT_EQ(calls_of("libselvar_config_open"), texts{});
    ticks_at(1002);
    EXPECT_EQ(kit.mc_fd, store.fd);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.reconnect_time, 1002U);
    EXPECT_TRUE(store_is_watched("mem", "led_cmd"));
}

TEST_F(tick_without_store, waits_a_tick_when_the_cloud_link_has_just_been_tried)
{
    kit.otd_sock = 0;
    ticks_at(1005);
    EXPECT_EQ(calls_of("connect").size(), 1U);
    EXPECT_EQ(calls_of("libselvar_config_open"), texts{});
    ticks_at(1006);
    EXPECT_EQ(calls_of("libselvar_config_open").size(), 1U);
}

TEST_F(tick_without_store, tries_every_second_while_the_store_is_absent)
{
    store.open_fails = true;
    for (uint32_t second : { 1001U, 1002U, 1003U }) {
        ticks_at(second);
        EXPECT_EQ(calls_of("libselvar_config_open").size(), 1U);
        EXPECT_EQ(kit.mc_fd, -1);
    }
}

struct queries : daemon_desk {};

TEST_F(queries, for_the_status_have_a_fresh_id_and_flags_zero)
{
    platform.next_random_id = 8;
    EXPECT_EQ(otd_status_check(),
              static_cast<int>(strlen(R"({"id":8,"method":"local.query_status","params":null})")));
    ASSERT_EQ(sends().size(), 1U);
    EXPECT_EQ(sends()[0].text, R"({"id":8,"method":"local.query_status","params":null})");
    EXPECT_EQ(sends()[0].fd, kit.otd_sock);
    EXPECT_EQ(sends()[0].flags, 0);
}

TEST_F(queries, for_the_time_have_a_fresh_id_and_flags_zero)
{
    platform.next_random_id = 8;
    EXPECT_EQ(time_sync(), static_cast<int>(strlen(R"({"id":8,"method":"local.query_time","params":null})")));
    EXPECT_EQ(sent_texts(), texts{ R"({"id":8,"method":"local.query_time","params":null})" });
}

TEST_F(queries, without_a_link_are_warnings)
{
    kit.otd_sock = -1;
    otd_status_check();
    time_sync();
    EXPECT_EQ(story(), (texts{ "warning: otd_status_check(), otd_sock not ready: -1\n",
                               "warning: time_sync(), otd_sock not ready: -1\n" }));
}
