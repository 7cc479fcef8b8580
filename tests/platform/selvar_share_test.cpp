// SPDX-License-Identifier: MIT
#include "libselvar.h"
#include "libselvar_share.h"
#include "store_process.h"

#include <chrono>
#include <cstdlib>
#include <thread>

// What a read gives; "(nothing)" for NULL.
static std::string read_key(const char *space, const char *key)
{
    char *value = libselvar_config_get(0, space, "default", key);
    std::string text = value != nullptr ? value : "(nothing)";
    free(value);
    return text;
}

struct sharing_client {
    store_process store = store_start();
    selvar_handle *handle = libselvar_config_open(0);

    ~sharing_client()
    {
        libselvar_close(handle);
        store_end(store, SIGKILL);
    }
};

static bool set_text(selvar_handle *handle, const char *key, const char *value)
{
    return libselvar_set_value(handle, "mem", "default", key, 1, value, nullptr, nullptr, 0, 0);
}

STORY(selvar_share, a_value_comes_as_text)
{
    sharing_client client;
    EXPECT_EQ(read_key("nvram", "motor"), "[50,50]");
}

STORY(selvar_share, it_needs_no_handle)
{
    store_process store = store_start();
    EXPECT_EQ(read_key("nvram", "power"), "on");
    store_end(store, SIGKILL);
}

STORY(selvar_share, a_key_without_a_value_gives_nothing)
{
    sharing_client client;
    EXPECT_EQ(read_key("mem", "motor"), "(nothing)");
    EXPECT_EQ(read_key("attic", "motor"), "(nothing)");
}

STORY(selvar_share, an_empty_text_is_a_value)
{
    sharing_client client;
    ASSERT_TRUE(set_text(client.handle, "empty", ""));
    EXPECT_TRUE(desk_wait([] { return read_key("mem", "empty").empty(); }));
}

STORY(selvar_share, a_number_comes_in_decimal_digits)
{
    sharing_client client;
    const uint64_t number = UINT64_MAX;
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "mem", "default", "big", 5, &number, nullptr, nullptr, 0, 0));
    EXPECT_TRUE(desk_wait([] { return read_key("mem", "big") == "18446744073709551615"; }));
}

STORY(selvar_share, a_long_value_comes_whole)
{
    sharing_client client;
    const std::string value(1000000, 'v');
    ASSERT_TRUE(set_text(client.handle, "long", value.c_str()));
    EXPECT_TRUE(desk_wait([&] {
        // The socket does not take it in one go: the rest is sent here.
        return libselvar_xhandle_response(client.handle) && read_key("mem", "long") == value;
    }));
}

STORY(selvar_share, missing_texts_give_nothing)
{
    sharing_client client;
    EXPECT_EQ(libselvar_config_get(0, nullptr, "default", "motor"), nullptr);
    EXPECT_EQ(libselvar_config_get(0, "nvram", nullptr, "motor"), nullptr);
    EXPECT_EQ(libselvar_config_get(0, "nvram", "default", nullptr), nullptr);
    EXPECT_EQ(libselvar_config_get(0, "nvram", "default", ""), nullptr);
}

STORY(selvar_share, without_a_store_it_gives_nothing)
{
    EXPECT_EQ(read_key("nvram", "motor"), "(nothing)");
}

STORY(selvar_share, from_a_store_that_does_not_answer_it_gives_nothing_within_a_second)
{
    sharing_client client;
    store_hold(client.store);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read_key("nvram", "motor"), "(nothing)");
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(900));
    EXPECT_LT(taken, std::chrono::milliseconds(1500));
    store_release(client.store);
}

STORY(selvar_share, it_is_answered_while_a_handle_has_not_read_its_replies)
{
    sharing_client client;
    const std::string value(100000, 'v');
    ASSERT_TRUE(libselvar_register_notification(client.handle, "mem", "default", "long", nullptr, nullptr,
                                                nullptr, 0, 0));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(set_text(client.handle, "long", value.c_str()));
    EXPECT_EQ(read_key("nvram", "motor"), "[50,50]");
}

STORY(selvar_share, it_finds_a_store_that_was_started_again)
{
    sharing_client client;
    EXPECT_EQ(read_key("nvram", "motor"), "[50,50]");
    store_end(client.store, SIGKILL);
    EXPECT_EQ(read_key("nvram", "motor"), "(nothing)");
    client.store = store_start();
    EXPECT_EQ(read_key("nvram", "motor"), "[50,50]");
}

STORY(selvar_share, it_may_be_called_from_several_threads)
{
    sharing_client client;
    const auto read_often = [] {
        for (int i = 0; i < 200; ++i)
            EXPECT_EQ(read_key("nvram", "motor"), "[50,50]");
    };
    std::thread other(read_often);
    read_often();
    other.join();
}

STORY(selvar_share, it_leaves_no_descriptor_behind)
{
    sharing_client client;
    const int before = dup(0);
    close(before);
    for (int i = 0; i < 10; ++i)
        read_key(i % 2 == 0 ? "nvram" : "attic", "motor");
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}
