// SPDX-License-Identifier: MIT
// How a handle lives in the poll loop of its owner: its descriptor, callbacks that call back, replies that
// must be waited for.
#include "selvar_desk.h"

#include <fcntl.h>
#include <poll.h>

struct polling_client {
    store_process store = store_start();
    selvar_handle *handle = libselvar_config_open(0);

    ~polling_client()
    {
        if (handle != nullptr)
            libselvar_close(handle);
        store_end(store, SIGKILL);
    }
};

static bool becomes_readable(selvar_handle *handle)
{
    pollfd waiting = { libselvar_client_fd(handle), POLLIN, 0 };
    return poll(&waiting, 1, 20000) == 1 && waiting.revents == POLLIN;
}

STORY(selvar_handle, its_descriptor_stays_the_same_and_is_not_passed_on)
{
    polling_client client;
    const int fd = libselvar_client_fd(client.handle);
    EXPECT_GT(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    EXPECT_EQ(libselvar_client_fd(client.handle), fd);
}

STORY(selvar_handle, it_is_readable_while_something_waits_and_only_then)
{
    polling_client client;
    EXPECT_FALSE(client_is_readable(client.handle));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    EXPECT_TRUE(becomes_readable(client.handle));
    EXPECT_TRUE(client_is_readable(client.handle)); // nothing was taken
    ASSERT_TRUE(client_hear(client.handle, 1));
    EXPECT_FALSE(client_is_readable(client.handle));
}

STORY(selvar_handle, callbacks_wait_for_the_owner)
{
    polling_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(becomes_readable(client.handle));
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    EXPECT_EQ(told, lines{});
}

STORY(selvar_handle, handling_responses_when_there_are_none_returns_at_once)
{
    polling_client client;
    EXPECT_TRUE(libselvar_xhandle_response(client.handle));
    EXPECT_EQ(told, lines{});
}

STORY(selvar_handle, after_handle_stop_a_get_returns_when_its_callback_has_run)
{
    polling_client client;
    libselvar_handle_stop(client.handle);
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor"));
    EXPECT_EQ(told, (lines{ "got motor = [50,50]" }));
    ASSERT_TRUE(client_get(client.handle, "mem", "nothing"));
    EXPECT_EQ(told, (lines{ "got motor = [50,50]", "got nothing" }));
}

STORY(selvar_handle, other_callbacks_wait_while_a_get_is_waited_for)
{
    polling_client client;
    libselvar_handle_stop(client.handle);
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    EXPECT_EQ(told, (lines{ "got power = off" }));
    EXPECT_TRUE(client_is_readable(client.handle));
    ASSERT_TRUE(libselvar_xhandle_response(client.handle));
    EXPECT_EQ(told, (lines{ "got power = off", "notified power = on", "answered 3: done",
                            "notified power = off" }));
    EXPECT_FALSE(client_is_readable(client.handle));
}

STORY(selvar_handle, after_handle_other_a_get_waits_for_the_owner_again)
{
    polling_client client;
    libselvar_handle_stop(client.handle);
    libselvar_handle_other(client.handle);
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor"));
    EXPECT_EQ(told, lines{});
    ASSERT_TRUE(client_hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "got motor = [50,50]" }));
}

static void ask_everything(selvar_handle *handle, const xresponse *reply)
{
    on_answer(handle, reply);
    EXPECT_TRUE(client_register(handle, "mem", "b"));
    EXPECT_TRUE(client_set(handle, "mem", "b", "2"));
    EXPECT_TRUE(client_get(handle, "mem", "b"));
    EXPECT_TRUE(client_unset(handle, "mem", "b"));
    EXPECT_TRUE(client_unregister(handle, "mem", "b"));
    EXPECT_TRUE(libselvar_sync(handle, "nvram", on_answer, nullptr, 0, 0));
}

STORY(selvar_handle, a_callback_may_make_requests)
{
    polling_client client;
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "mem", "default", "a", 1, "1", ask_everything, nullptr, 0, 0));
    ASSERT_TRUE(client_hear(client.handle, 5));
    EXPECT_EQ(told, (lines{ "answered 3: done", "answered 3: done", "got b = 2", "answered 4: done",
                            "answered 8: done" }));
}

static void get_at_once(selvar_handle *handle, const xresponse *reply)
{
    on_answer(handle, reply);
    libselvar_handle_stop(handle);
    EXPECT_TRUE(client_get(handle, "nvram", "motor"));
    told.emplace_back("and went on");
}

STORY(selvar_handle, a_callback_may_wait_for_a_get)
{
    polling_client client;
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "mem", "default", "a", 1, "1", get_at_once, nullptr, 0, 0));
    ASSERT_TRUE(client_set(client.handle, "mem", "b", "2"));
    ASSERT_TRUE(client_hear(client.handle, 4));
    EXPECT_EQ(told, (lines{ "answered 3: done", "got motor = [50,50]", "and went on", "answered 3: done" }));
}

static void handle_nested(selvar_handle *handle, const xresponse *reply)
{
    on_answer(handle, reply);
    EXPECT_TRUE(client_hear(handle, 3));
}

STORY(selvar_handle, a_callback_may_handle_responses)
{
    polling_client client;
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "mem", "default", "a", 1, "1", handle_nested, nullptr, 0, 0));
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor"));
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_hear(client.handle, 3));
    EXPECT_EQ(told, (lines{ "answered 3: done", "got motor = [50,50]", "got power = on" }));
}

static void close_now(selvar_handle *handle, const xresponse *reply)
{
    on_answer(handle, reply);
    libselvar_close(handle);
}

STORY(selvar_handle, a_callback_may_close_the_handle)
{
    polling_client client;
    ASSERT_TRUE(libselvar_set_value(client.handle, "mem", "default", "a", 1, "1", close_now, nullptr, 0, 0));
    ASSERT_TRUE(client_set(client.handle, "mem", "b", "2"));
    while (libselvar_xhandle_response(client.handle))
        ASSERT_TRUE(becomes_readable(client.handle));
    client.handle = nullptr;
    EXPECT_EQ(told, (lines{ "answered 3: done" }));
}

static int turns;

static void set_again(selvar_handle *handle, const xresponse *)
{
    ++turns;
    EXPECT_TRUE(libselvar_set_value(handle, "mem", "default", "ball", 1, "x", nullptr, nullptr, 0, 0));
}

STORY(selvar_handle, a_callback_that_causes_its_own_next_call_does_not_keep_the_owner)
{
    polling_client client;
    ASSERT_TRUE(libselvar_register_notification(client.handle, "mem", "default", "ball", nullptr, set_again,
                                                nullptr, 0, 0));
    for (int calls = 0; calls < 100; ++calls) {
        ASSERT_TRUE(becomes_readable(client.handle));
        ASSERT_TRUE(libselvar_xhandle_response(client.handle)); // would never return
    }
    EXPECT_GT(turns, 10);
}

STORY(selvar_handle, many_requests_without_reading_are_all_done_in_order)
{
    polling_client client;
    const int count = 20000;
    const std::string filling(1000, 'x');
    ASSERT_TRUE(client_register(client.handle, "mem", "flood"));
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(libselvar_set_value(client.handle, "mem", "default", "flood", 1,
                                        (std::to_string(i) + filling).c_str(), nullptr, nullptr, 0, 0));
    ASSERT_TRUE(client_hear(client.handle, count + 1));
    ASSERT_EQ(told.size(), count + 1U);
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(told[static_cast<size_t>(i) + 1], "notified flood = " + std::to_string(i) + filling);
}

STORY(selvar_handle, what_was_accepted_before_a_close_is_still_done)
{
    polling_client client;
    const int ended = desk_in_process([] {
        const std::string filling(10000, 'x');
        selvar_handle *other = libselvar_config_open(0);
        for (int i = 0; i < 1000; ++i)
            ASSERT_TRUE(libselvar_set_value(other, "nvram", "default", ("key" + std::to_string(i)).c_str(), 1,
                                            filling.c_str(), nullptr, nullptr, 0, 0));
        libselvar_close(other);
    });
    EXPECT_EQ(ended, 0);
    client_settle(client.handle);
    libselvar_handle_stop(client.handle);
    ASSERT_TRUE(client_get(client.handle, "nvram", "key0"));
    ASSERT_TRUE(desk_wait([&client] {
        told.clear();
        return client_get(client.handle, "nvram", "key999") && told[0] != "got nothing";
    }));
}
