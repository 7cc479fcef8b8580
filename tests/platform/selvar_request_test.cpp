// SPDX-License-Identifier: MIT
// What the store answers to a client, and what the library refuses to ask.
#include "selvar_desk.h"

#include <cstdlib>

struct asking_client {
    store_process store = store_start();
    selvar_handle *handle = libselvar_config_open(0);

    ~asking_client()
    {
        libselvar_close(handle);
        store_end(store, SIGKILL);
    }
};

STORY(selvar_request, there_is_no_handle_without_a_store)
{
    EXPECT_EQ(libselvar_config_open(0), nullptr);
}

STORY(selvar_request, a_set_is_answered_with_message_type_3)
{
    asking_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_set(client.handle, "mem", "track", "stop"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: done", "answered 3: done" }));
}

STORY(selvar_request, a_set_in_an_unknown_namespace_is_answered_as_refused)
{
    asking_client client;
    ASSERT_TRUE(client_set(client.handle, "attic", "power", "off"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: refused" }));
}

STORY(selvar_request, a_set_without_a_key_is_answered_as_refused)
{
    asking_client client;
    ASSERT_TRUE(client_set(client.handle, "mem", "", "off"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: refused" }));
}

STORY(selvar_request, a_get_brings_key_and_value)
{
    asking_client client;
    ASSERT_TRUE(client_set_number(client.handle, "mem", "time_flip", 1700000000123));
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor"));
    ASSERT_TRUE(client_get(client.handle, "mem", "time_flip"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: done", "got motor = [50,50]", "got time_flip = #1700000000123" }));
}

STORY(selvar_request, a_get_of_what_is_not_there_brings_nothing)
{
    asking_client client;
    ASSERT_TRUE(client_get(client.handle, "mem", "power"));
    ASSERT_TRUE(client_get(client.handle, "attic", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "got nothing", "got nothing" }));
}

static bool read_as_get;
static bool has_pair;

static void on_reply_of_another_kind(selvar_handle *, const xresponse *reply)
{
    xcontrol_response response = {};
    read_as_get = xcontrol_get_response(reply, &response);
}

STORY(selvar_request, a_reply_to_a_set_is_no_reply_to_a_get)
{
    asking_client client;
    read_as_get = true;
    ASSERT_TRUE(libselvar_set_value(client.handle, "mem", "default", "track", 1, "x",
                                    on_reply_of_another_kind, nullptr, 0, 0));
    client_settle(client.handle);
    EXPECT_FALSE(read_as_get);
}

static void on_reply_without_a_key(selvar_handle *, const xresponse *reply)
{
    auto *pair = reinterpret_cast<xpair *>(1);
    int status = -1;
    xresponse_parse(reply, &pair, &status);
    has_pair = pair != nullptr;
    told.push_back("status " + std::to_string(status));
}

STORY(selvar_request, a_reply_that_names_no_key_gives_no_pair)
{
    asking_client client;
    has_pair = true;
    ASSERT_TRUE(libselvar_sync(client.handle, "nvram", on_reply_without_a_key, nullptr, 0, 0));
    client_settle(client.handle);
    EXPECT_FALSE(has_pair);
    EXPECT_EQ(told, (lines{ "status 0" }));
}

STORY(selvar_request, freeing_no_pair_is_allowed)
{
    xpair_basefree(nullptr);
}

STORY(selvar_request, an_unset_value_is_gone)
{
    asking_client client;
    ASSERT_TRUE(client_unset(client.handle, "nvram", "motor"));
    ASSERT_TRUE(client_get(client.handle, "nvram", "motor"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 4: done", "got nothing" }));
}

STORY(selvar_request, a_reset_brings_the_factory_defaults_back_and_nothing_else)
{
    asking_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "bind_status", "ok"));
    ASSERT_TRUE(client_unset(client.handle, "nvram", "language"));
    ASSERT_TRUE(client_set(client.handle, "mem", "track", "stop"));
    client_settle(client.handle);
    told.clear();
    ASSERT_TRUE(client_reset(client.handle));
    for (const char *key : { "power", "bind_status", "language" })
        ASSERT_TRUE(client_get(client.handle, "nvram", key));
    ASSERT_TRUE(client_get(client.handle, "mem", "track"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 7: done", "got power = on", "got nothing", "got language = en",
                            "got track = stop" }));
}

STORY(selvar_request, other_commands_are_answered_as_refused)
{
    asking_client client;
    for (const char *space : { "nvram", "mem", "attic" }) {
        const char *command = strcmp(space, "nvram") == 0 ? "polish" : "reset";
        ASSERT_TRUE(libselvar_other(client.handle, command, space, "default", nullptr, 1, nullptr, on_answer,
                                    nullptr, 0, 0));
    }
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 7: refused", "answered 7: refused", "answered 7: refused" }));
}

STORY(selvar_request, a_sync_is_answered)
{
    asking_client client;
    for (const char *space : { "nvram", "mem", "attic" })
        ASSERT_TRUE(libselvar_sync(client.handle, space, on_answer, nullptr, 5, 0));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 8: done", "answered 8: done", "answered 8: refused" }));
}

STORY(selvar_request, what_was_synced_outlives_a_power_cut_that_leaves_nothing_but_the_settings_file)
{
    asking_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(libselvar_sync(client.handle, "nvram", on_answer, nullptr, 5, 0));
    ASSERT_TRUE(client_hear(client.handle, 2));
    const std::string settings = desk_file(desk_path("nvram"));
    libselvar_close(client.handle);
    store_end(client.store, SIGKILL);
    for (const char *name : { "nvram", "nvram-wal", "nvram-shm" })
        unlink(desk_path(name).c_str());
    std::ofstream(desk_path("nvram"), std::ios::binary) << settings;

    client.store = store_start();
    client.handle = libselvar_config_open(0);
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    client_settle(client.handle);

    EXPECT_EQ(told, (lines{ "answered 3: done", "answered 8: done", "got power = off" }));
}

STORY(selvar_request, an_unregister_is_answered_whether_or_not_the_key_was_registered)
{
    asking_client client;
    ASSERT_TRUE(libselvar_unregister_notification(client.handle, "nvram", "default", "power", 0, on_answer,
                                                  nullptr, 0, 0));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 6: done" }));
}

STORY(selvar_request, requests_without_callbacks_are_done_all_the_same)
{
    asking_client client;
    ASSERT_TRUE(libselvar_set_value(client.handle, "mem", "default", "a", 1, "1", nullptr, nullptr, 0, 0));
    ASSERT_TRUE(libselvar_get_value(client.handle, "mem", "default", "a", nullptr, nullptr, 5, 0));
    ASSERT_TRUE(libselvar_register_notification(client.handle, "mem", "default", "a", nullptr, nullptr,
                                                nullptr, 0, 0));
    ASSERT_TRUE(client_get(client.handle, "mem", "a"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "got a = 1" }));
}

STORY(selvar_request, keys_and_values_pass_uncut)
{
    asking_client client;
    const std::string key(1000, 'k');
    const std::string value(500000, 'v');
    ASSERT_TRUE(client_set(client.handle, "nvram", key.c_str(), value.c_str()));
    ASSERT_TRUE(client_get(client.handle, "nvram", key.c_str()));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 3: done", "got " + key + " = " + value }));
}

STORY(selvar_request, what_is_too_long_to_be_sent_is_refused_at_once)
{
    asking_client client;
    EXPECT_FALSE(client_set(client.handle, "mem", std::string(100000, 'k').c_str(), "v"));
    EXPECT_FALSE(client_set(client.handle, "mem", "k", std::string(5000000, 'v').c_str()));
    ASSERT_TRUE(client_get(client.handle, "mem", "k"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "got nothing" }));
}

STORY(selvar_request, a_null_handle_is_refused_by_every_call)
{
    EXPECT_FALSE(client_set(nullptr, "mem", "a", "1"));
    EXPECT_FALSE(client_get(nullptr, "mem", "a"));
    EXPECT_FALSE(client_register(nullptr, "mem", "a"));
    EXPECT_FALSE(client_unregister(nullptr, "mem", "a"));
    EXPECT_FALSE(client_unset(nullptr, "mem", "a"));
    EXPECT_FALSE(client_reset(nullptr));
    EXPECT_FALSE(libselvar_sync(nullptr, "nvram", nullptr, nullptr, 0, 0));
    EXPECT_FALSE(libselvar_xhandle_response(nullptr));
    EXPECT_EQ(libselvar_client_fd(nullptr), -1);
    libselvar_handle_other(nullptr);
    libselvar_handle_stop(nullptr);
    libselvar_close(nullptr);
}

STORY(selvar_request, missing_texts_are_refused)
{
    asking_client client;
    EXPECT_FALSE(client_set(client.handle, nullptr, "a", "1"));
    EXPECT_FALSE(client_set(client.handle, "mem", nullptr, "1"));
    EXPECT_FALSE(client_set(client.handle, "mem", "a", nullptr));
    EXPECT_FALSE(libselvar_set_value(client.handle, "mem", nullptr, "a", 1, "1", nullptr, nullptr, 0, 0));
    EXPECT_FALSE(client_get(client.handle, "mem", nullptr));
    EXPECT_FALSE(client_register(client.handle, "mem", nullptr));
    EXPECT_FALSE(client_unregister(client.handle, nullptr, "a"));
    EXPECT_FALSE(client_unset(client.handle, "mem", nullptr));
    EXPECT_FALSE(libselvar_other(client.handle, nullptr, "nvram", "default", nullptr, 1, nullptr, nullptr,
                                 nullptr, 0, 0));
    EXPECT_FALSE(libselvar_sync(client.handle, nullptr, nullptr, nullptr, 0, 0));
}

STORY(selvar_request, an_unknown_type_is_refused)
{
    asking_client client;
    for (const int type : { 0, 2, 4, 6, -1 })
        EXPECT_FALSE(
            libselvar_set_value(client.handle, "mem", "default", "a", type, "1", nullptr, nullptr, 0, 0));
    ASSERT_TRUE(client_get(client.handle, "mem", "a"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "got nothing" }));
}

STORY(selvar_request, an_unknown_group_is_refused)
{
    asking_client client;
    EXPECT_FALSE(libselvar_set_value(client.handle, "mem", "other", "a", 1, "1", nullptr, nullptr, 0, 0));
}
