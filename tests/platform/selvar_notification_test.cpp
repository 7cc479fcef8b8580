// SPDX-License-Identifier: MIT
// What the store promises to those who watch a key.
#include "selvar_desk.h"

// A story about one client of a store that runs.
struct notified_client {
    store_process store = store_start();
    selvar_handle *handle = libselvar_config_open(0);

    ~notified_client()
    {
        libselvar_close(handle);
        store_end(store, SIGKILL);
    }
};

STORY(selvar_notification, registering_brings_the_present_value)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "motor"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "notified motor = [50,50]" }));
}

STORY(selvar_notification, registering_a_key_without_a_value_brings_a_pair_without_one)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "mem", "led_cmd"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    EXPECT_EQ(told, (lines{ "notified led_cmd has nothing" }));
}

STORY(selvar_notification, an_empty_text_is_a_value)
{
    notified_client client;
    ASSERT_TRUE(client_set(client.handle, "mem", "led_cmd", ""));
    ASSERT_TRUE(client_register(client.handle, "mem", "led_cmd"));
    ASSERT_TRUE(client_hear(client.handle, 2));
    EXPECT_EQ(told, (lines{ "answered 3: done", "notified led_cmd = " }));
}

STORY(selvar_notification, registering_gives_an_id)
{
    notified_client client;
    int id = 0;
    ASSERT_TRUE(libselvar_register_notification(client.handle, "mem", "default", "track", &id,
                                                on_notification, nullptr, 0, 0));
    EXPECT_GT(id, 0);
}

static void on_second(selvar_handle *, const xresponse *reply)
{
    told.emplace_back("the second was told:");
    on_notification(nullptr, reply);
}

STORY(selvar_notification, registering_again_replaces_the_first_and_brings_the_value_again)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    int id = 0;
    ASSERT_TRUE(libselvar_register_notification(client.handle, "nvram", "default", "power", &id, on_second,
                                                nullptr, 0, 0));
    ASSERT_TRUE(client_hear(client.handle, 3));
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "nvram", "default", "power", 1, "off", nullptr, nullptr, 0, 0));
    ASSERT_TRUE(client_hear(client.handle, 5));
    EXPECT_EQ(told, (lines{ "notified power = on", "the second was told:", "notified power = on",
                            "the second was told:", "notified power = off" }));
}

STORY(selvar_notification, a_change_on_its_way_while_registering_again_is_not_lost)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    told.clear();
    ASSERT_TRUE(
        libselvar_set_value(client.handle, "nvram", "default", "power", 1, "1", nullptr, nullptr, 0, 0));
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = 1", "notified power = 1" }));
}

STORY(selvar_notification, a_set_is_answered_and_then_notified_to_its_setter)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "mem", "track"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    ASSERT_TRUE(client_set(client.handle, "mem", "track", "stop"));
    ASSERT_TRUE(client_hear(client.handle, 3));
    EXPECT_EQ(told, (lines{ "notified track has nothing", "answered 3: done", "notified track = stop" }));
}

STORY(selvar_notification, a_set_by_another_client_is_notified)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_hear(client.handle, 1));
    const int ended = desk_in_process([] {
        selvar_handle *other = libselvar_config_open(0);
        EXPECT_TRUE(client_set(other, "nvram", "power", "off"));
        EXPECT_TRUE(client_hear(other, 2));
        libselvar_close(other);
    });
    EXPECT_EQ(ended, 0);
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = on", "notified power = off" }));
}

STORY(selvar_notification, every_registered_client_is_notified)
{
    notified_client client;
    selvar_handle *second = libselvar_config_open(0);
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_register(second, "nvram", "power"));
    client_settle(client.handle);
    client_settle(second);
    told.clear();
    ASSERT_TRUE(libselvar_set_value(second, "nvram", "default", "power", 1, "off", nullptr, nullptr, 0, 0));
    client_settle(second);
    EXPECT_EQ(told, (lines{ "notified power = off" }));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = off", "notified power = off" }));
    libselvar_close(second);
}

STORY(selvar_notification, the_same_value_again_is_notified_again)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "on"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "on"));
    ASSERT_TRUE(client_hear(client.handle, 5));
    EXPECT_EQ(told, (lines{ "notified power = on", "answered 3: done", "notified power = on",
                            "answered 3: done", "notified power = on" }));
}

STORY(selvar_notification, only_the_keys_that_a_client_registered_are_notified_to_it)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "language"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified language = en", "answered 3: done" }));
}

STORY(selvar_notification, keys_of_the_same_name_in_both_namespaces_are_apart)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_set(client.handle, "mem", "power", "other"));
    ASSERT_TRUE(client_get(client.handle, "nvram", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = on", "answered 3: done", "got power = on" }));
}

STORY(selvar_notification, an_unset_is_notified_as_a_pair_without_a_value)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_unset(client.handle, "nvram", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = on", "answered 4: done", "notified power has nothing" }));
}

STORY(selvar_notification, an_unset_of_what_was_not_there_is_notified_as_well)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "mem", "sound_play"));
    ASSERT_TRUE(client_unset(client.handle, "mem", "sound_play"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified sound_play has nothing", "answered 4: done",
                            "notified sound_play has nothing" }));
}

STORY(selvar_notification, a_reset_is_notified_for_every_registered_nvram_key)
{
    notified_client client;
    ASSERT_TRUE(client_set(client.handle, "nvram", "power", "off"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "bind_status", "ok"));
    ASSERT_TRUE(client_set(client.handle, "mem", "dev_status", "normal"));
    for (const char *key : { "power", "bind_status", "language", "wdr" })
        ASSERT_TRUE(client_register(client.handle, "nvram", key));
    ASSERT_TRUE(client_register(client.handle, "mem", "dev_status"));
    client_settle(client.handle);
    told.clear();
    ASSERT_TRUE(client_reset(client.handle));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "answered 7: done", "notified power = on", "notified bind_status has nothing",
                            "notified language = en", "notified wdr has nothing" }));
}

STORY(selvar_notification, unregistering_goes_by_namespace_and_key_and_not_by_the_id)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_register(client.handle, "mem", "power"));
    client_settle(client.handle);
    told.clear();
    ASSERT_TRUE(client_unregister(client.handle, "nvram", "power")); // with an id that was never given
    for (const char *space : { "nvram", "mem" })
        ASSERT_TRUE(
            libselvar_set_value(client.handle, space, "default", "power", 1, space, nullptr, nullptr, 0, 0));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = mem" }));
}

STORY(selvar_notification, what_was_on_its_way_is_not_notified_after_unregistering)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_unregister(client.handle, "nvram", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, lines{});
}

STORY(selvar_notification, what_was_on_its_way_for_an_ended_registration_does_not_reach_the_next)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_unregister(client.handle, "nvram", "power"));
    ASSERT_TRUE(client_register(client.handle, "nvram", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power = on" }));
}

STORY(selvar_notification, one_clients_writes_are_notified_in_their_order)
{
    notified_client client;
    std::vector<std::string> wanted = { "notified count has nothing" };
    ASSERT_TRUE(client_register(client.handle, "nvram", "count"));
    for (int i = 0; i < 500; ++i) {
        const std::string value = std::to_string(i);
        ASSERT_TRUE(libselvar_set_value(client.handle, "nvram", "default", "count", 1, value.c_str(), nullptr,
                                        nullptr, 0, 0));
        wanted.push_back("notified count = " + value);
    }
    client_settle(client.handle);
    EXPECT_EQ(told, wanted);
}

STORY(selvar_notification, a_number_of_64_bits_comes_as_a_number)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "mem", "time_night"));
    ASSERT_TRUE(client_set_number(client.handle, "mem", "time_night", UINT64_MAX));
    ASSERT_TRUE(client_set_number(client.handle, "mem", "time_night", 0));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified time_night has nothing", "answered 3: done",
                            "notified time_night = #18446744073709551615", "answered 3: done",
                            "notified time_night = #0" }));
}

STORY(selvar_notification, any_bytes_come_as_they_were_set)
{
    notified_client client;
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    ASSERT_TRUE(client_register(client.handle, "nvram", "bytes"));
    ASSERT_TRUE(client_set(client.handle, "nvram", "bytes", bytes.c_str()));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified bytes has nothing", "answered 3: done", "notified bytes = " + bytes }));
}

STORY(selvar_notification, a_registration_that_is_refused_is_told_with_its_key)
{
    notified_client client;
    ASSERT_TRUE(client_register(client.handle, "attic", "power"));
    client_settle(client.handle);
    EXPECT_EQ(told, (lines{ "notified power failed" }));
}

STORY(selvar_notification, a_client_that_does_not_read_holds_up_nobody)
{
    notified_client client;
    selvar_handle *sleeper = libselvar_config_open(0);
    ASSERT_TRUE(client_register(sleeper, "mem", "long"));
    const std::string value(100000, 'x');
    for (int i = 0; i < 400; ++i) { // 40 MB on their way to the sleeper
        ASSERT_TRUE(client_set(client.handle, "mem", "long", value.c_str()));
        ASSERT_TRUE(client_hear(client.handle, told.size() + 1));
    }
    EXPECT_EQ(told.size(), 400U);
    libselvar_close(sleeper);
}
