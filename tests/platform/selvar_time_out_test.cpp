// SPDX-License-Identifier: MIT
// Requests that are not answered in time, and a store that goes away.
#include "selvar_desk.h"

#include <poll.h>

#include <atomic>
#include <chrono>
#include <thread>

// The store stands still from the beginning, and so does the clock.
struct waiting_client {
    store_process store;
    selvar_handle *handle = nullptr;

    waiting_client()
    {
        desk_page();
        store = store_start();
        handle = libselvar_config_open(0);
        client_settle(handle);
    }

    ~waiting_client()
    {
        libselvar_close(handle);
        if (store.pid > 0)
            store_end(store, SIGKILL);
    }
};

static bool handle_what_comes(selvar_handle *handle)
{
    pollfd waiting = { libselvar_client_fd(handle), POLLIN, 0 };
    return poll(&waiting, 1, 20000) == 1 && waiting.revents == POLLIN && libselvar_xhandle_response(handle);
}

// Waits for so many lines; unlike client_hear it asks the store nothing.
static bool hear(selvar_handle *handle, size_t count)
{
    while (told.size() < count)
        if (!handle_what_comes(handle))
            return false;
    return true;
}

static bool set_within(selvar_handle *handle, int seconds)
{
    return libselvar_set_value(handle, "nvram", "default", "power", 1, "off", on_answer, on_time_out, seconds,
                               0);
}

STORY(selvar_time_out, it_comes_after_the_seconds_of_the_virtual_clock)
{
    waiting_client client;
    store_hold(client.store);
    ASSERT_TRUE(set_within(client.handle, 5));
    desk_clock_step(4999);
    ASSERT_TRUE(handle_what_comes(client.handle));
    EXPECT_EQ(told, lines{});
    desk_clock_step(1);
    ASSERT_TRUE(hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "timed out power" }));
    store_release(client.store);
}

STORY(selvar_time_out, it_comes_once_and_a_late_reply_is_dropped)
{
    waiting_client client;
    store_hold(client.store);
    ASSERT_TRUE(set_within(client.handle, 5));
    desk_clock_step(5000);
    ASSERT_TRUE(hear(client.handle, 1));
    store_release(client.store);
    client_settle(client.handle);
    desk_clock_step(60000);
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "timed out power" }));
}

STORY(selvar_time_out, it_does_not_come_when_the_reply_has_come)
{
    waiting_client client;
    ASSERT_TRUE(set_within(client.handle, 5));
    ASSERT_TRUE(hear(client.handle, 1));
    desk_clock_step(60000);
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: done" }));
}

STORY(selvar_time_out, a_reply_that_waits_is_preferred_to_a_time_out_that_is_due)
{
    waiting_client client;
    ASSERT_TRUE(set_within(client.handle, 5));
    desk_clock_step(60000);
    pollfd waiting = { libselvar_client_fd(client.handle), POLLIN, 0 };
    ASSERT_TRUE(desk_wait([&] { return desk_journal_of("set").size() == 1; }));
    ASSERT_EQ(poll(&waiting, 1, 20000), 1);
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: done" }));
}

STORY(selvar_time_out, zero_is_none)
{
    waiting_client client;
    store_hold(client.store);
    ASSERT_TRUE(set_within(client.handle, 0));
    ASSERT_TRUE(set_within(client.handle, 3600));
    desk_clock_step(3600 * 1000);
    ASSERT_TRUE(hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "timed out power" }));
    store_release(client.store);
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "timed out power", "answered 3: done" }));
}

STORY(selvar_time_out, of_several_each_comes_at_its_time)
{
    waiting_client client;
    store_hold(client.store);
    for (const int seconds : { 30, 10, 20 })
        ASSERT_TRUE(libselvar_get_value(client.handle, "nvram", "default", std::to_string(seconds).c_str(),
                                        on_get, on_time_out, seconds, 0));
    desk_clock_step(10000);
    ASSERT_TRUE(hear(client.handle, 1));
    desk_clock_step(20000);
    ASSERT_TRUE(hear(client.handle, 3));
    EXPECT_EQ(told, (lines{ "timed out 10", "timed out 20", "timed out 30" }));
    store_release(client.store);
}

STORY(selvar_time_out, of_a_registration_names_the_key)
{
    waiting_client client;
    store_hold(client.store);
    int id = 0;
    ASSERT_TRUE(libselvar_register_notification(client.handle, "nvram", "default", "motor", &id,
                                                on_notification, on_time_out, 5, 0));
    desk_clock_step(5000);
    ASSERT_TRUE(hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "timed out motor" }));
    store_release(client.store);
}

STORY(selvar_time_out, a_waited_for_get_comes_back_though_the_virtual_clock_stands_still)
{
    waiting_client client;
    libselvar_handle_stop(client.handle);
    store_hold(client.store);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(libselvar_get_value(client.handle, "nvram", "default", "motor", on_get, on_time_out, 1, 0));
    EXPECT_EQ(told, (lines{ "timed out motor" }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
    store_release(client.store);
}

STORY(selvar_time_out, a_waited_for_get_goes_by_the_virtual_clock_when_that_is_faster)
{
    waiting_client client;
    libselvar_handle_stop(client.handle);
    store_hold(client.store);
    desk_clock_run(1000);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(
        libselvar_get_value(client.handle, "nvram", "default", "motor", on_get, on_time_out, 1000, 0));
    EXPECT_EQ(told, (lines{ "timed out motor" }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    store_release(client.store);
}

static bool main_thread_sleeps(void)
{
    const std::string stat = desk_file("/proc/self/stat");
    return stat.find(") S ") != std::string::npos;
}

STORY(selvar_time_out, a_waited_for_get_comes_back_when_the_store_dies)
{
    waiting_client client;
    libselvar_handle_stop(client.handle);
    store_hold(client.store);
    std::atomic<bool> asking = false;
    std::thread killer([&] {
        EXPECT_TRUE(desk_wait([&] { return asking && main_thread_sleeps(); }));
        kill(client.store.pid, SIGKILL);
    });
    asking = true;
    EXPECT_TRUE(client_get(client.handle, "nvram", "motor"));
    EXPECT_EQ(told, (lines{ "timed out motor" }));
    EXPECT_FALSE(client_get(client.handle, "nvram", "motor"));
    killer.join();
}

STORY(selvar_connection, what_has_arrived_is_told_before_the_end)
{
    waiting_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(desk_wait([] { return desk_journal_of("set").size() == 1; }));
    libselvar_handle_stop(client.handle);
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor")); // by now the rest has arrived
    told.clear();
    store_end(client.store, SIGKILL);
    while (handle_what_comes(client.handle)) {
    }
    EXPECT_EQ(told, (lines{ "notified power = on", "answered 3: done", "notified power = off" }));
}

STORY(selvar_connection, its_end_is_reported_and_requests_are_refused)
{
    waiting_client client;
    store_end(client.store, SIGKILL);
    pollfd waiting = { libselvar_client_fd(client.handle), POLLIN, 0 };
    ASSERT_EQ(poll(&waiting, 1, 20000), 1);
    EXPECT_EQ(waiting.revents, POLLIN); // and neither POLLHUP nor POLLERR, which an owner might not look for
    EXPECT_FALSE(libselvar_xhandle_response(client.handle));
    EXPECT_TRUE(client_is_readable(client.handle));
    EXPECT_FALSE(libselvar_xhandle_response(client.handle));
    EXPECT_FALSE(client_set(client.handle, "nvram", "power", "off"));
    EXPECT_FALSE(client_get(client.handle, "nvram", "power"));
    EXPECT_EQ(told, lines{});
}

STORY(selvar_connection, a_request_to_a_dead_store_is_refused_and_the_end_still_reported)
{
    waiting_client client;
    store_end(client.store, SIGKILL);
    EXPECT_FALSE(client_set(client.handle, "nvram", "power", "off"));
    EXPECT_TRUE(client_is_readable(client.handle));
    EXPECT_FALSE(libselvar_xhandle_response(client.handle));
}

STORY(selvar_connection, a_new_handle_finds_the_store_that_was_started_again)
{
    waiting_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_set(client.handle, "mem", "track", "stop"));
    client_settle(client.handle);
    store_end(client.store, SIGKILL);
    client.store = store_start();
    libselvar_close(client.handle);
    client.handle = libselvar_config_open(0);
    ASSERT_NE(client.handle, nullptr);
    told.clear();
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_get(client.handle, "mem", "track"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "got power = off", "got nothing" })); // nvram is kept, mem is not
}
