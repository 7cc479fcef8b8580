// SPDX-License-Identifier: MIT
// Registrations, and the way of a notification from the library to the daemon's callback.
#include "store_desk.h"

#include <thread>

struct watched_store : open_store {
    watched_store()
    {
        selvar_nvram_register_notify("nvram", "power");
        selvar_nvram_register_notify("mem", "time_night");
        record_clear();
    }
    ~watched_store() override
    {
        EXPECT_EQ(store_live_pairs(), 0);
    }
};

TEST_F(open_store, a_registration_names_the_space_that_the_caller_chose)
{
    EXPECT_EQ(selvar_nvram_register_notify("mem", "led_cmd"), 0);
    EXPECT_EQ(selvar_nvram_register_notify("nvram", "light"), 0);
    EXPECT_EQ(story(),
              (texts{ "libselvar_register_notification(mem, default, led_cmd, yes, yes, yes, 0, 0)",
                      "libselvar_register_notification(nvram, default, light, yes, yes, yes, 0, 0)" }));
}

TEST_F(watched_store, a_callback_lets_the_library_go_however_deep_in_it_the_thread_is)
{
    selvar_nvram_exit();
    selvar_nvram_init([](const char *, const void *) {
        std::thread([] { selvar_mem_set_string("track", "stop", 0); }).join();
    });
    selvar_nvram_register_notify("nvram", "power");
    store_notify_text("nvram", "power", "on");
    store.on_response = [] {
        store.on_response = nullptr;
        EXPECT_EQ(selvar_nvram_response(), 0);
    };
    EXPECT_EQ(selvar_nvram_response(), 0);
    EXPECT_TRUE(in_order({ "libselvar_xhandle_response()", "libselvar_xhandle_response()",
                           "libselvar_set_value(mem, default, track, 1, \"stop\", yes, yes, 5, 0)" }));
}

TEST_F(open_store, a_registration_that_was_not_sent_names_its_key)
{
    store.register_result = false;
    EXPECT_EQ(selvar_nvram_register_notify("mem", "led_cmd"), -1);
    EXPECT_EQ(log_lines(), texts{ "err: send led_cmd notify cmd fail.\n" });
}

TEST_F(open_store, unregistering_passes_the_latest_id_whatever_the_key)
{
    store.next_notification_id = 101;
    selvar_nvram_register_notify("mem", "led_cmd");
    selvar_nvram_register_notify("nvram", "light");
    record_clear();
    EXPECT_EQ(selvar_nvram_unregister_notify("mem", "led_cmd"), 1);
    EXPECT_EQ(story(),
              texts{ "libselvar_unregister_notification(mem, default, led_cmd, 102, none, none, 0, 0)" });
}

TEST_F(open_store, the_key_of_a_registration_is_cut_at_127_characters_and_so_is_its_end)
{
    const std::string key(200, 'k');
    store.next_notification_id = 101;
    EXPECT_EQ(selvar_nvram_register_notify("mem", key.c_str()), 0);
    EXPECT_EQ(selvar_nvram_unregister_notify("mem", key.c_str()), 1);
    const std::string sent = "mem, default, " + std::string(127, 'k');
    EXPECT_EQ(story(), (texts{ "libselvar_register_notification(" + sent + ", yes, yes, yes, 0, 0)",
                               "libselvar_unregister_notification(" + sent + ", 101, none, none, 0, 0)" }));
}

TEST_F(watched_store, unregistering_gives_the_librarys_result_and_no_line)
{
    store.unregister_result = false;
    EXPECT_EQ(selvar_nvram_unregister_notify("nvram", "power"), 0);
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(watched_store, a_text_reaches_the_callback_as_text)
{
    store_notify_text("nvram", "power", "off");
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].key, "power");
    EXPECT_EQ(deliveries[0].text, "off");
    EXPECT_EQ(deliveries[0].type, 1);
    EXPECT_EQ(log_lines(), (texts{ "debug: notify_cb\n", "debug: notify_cb key: [power]\r\n" }));
}

TEST_F(watched_store, an_empty_text_is_not_null)
{
    store_notify_text("nvram", "power", "");
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_FALSE(deliveries[0].is_null);
    EXPECT_EQ(deliveries[0].text, "");
}

TEST_F(watched_store, a_key_without_a_value_reaches_the_callback_as_null)
{
    store_notify_text("nvram", "power", nullptr);
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_TRUE(deliveries[0].is_null);
    EXPECT_EQ(deliveries[0].type, 0);
}

TEST_F(watched_store, a_number_reaches_the_callback_as_a_pointer_to_eight_bytes)
{
    store_notify("mem", number_reply("time_night", 0x123456789ABCDEF0ULL));
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].type, 5);
    EXPECT_EQ(deliveries[0].number, 0x123456789ABCDEF0ULL);
}

TEST_F(watched_store, a_value_of_another_type_is_logged_and_dropped)
{
    xresponse reply = text_reply("power", "on");
    reply.type = 3;
    store_notify("nvram", reply);
    store_descriptor_is_readable();
    EXPECT_TRUE(deliveries.empty());
    EXPECT_TRUE(log_mentions(": unused type:3, key:power\n"));
}

TEST_F(watched_store, a_bad_status_reaches_the_callback_as_error_before_it_is_logged)
{
    xresponse reply = text_reply("power", "on");
    reply.status = 1;
    store_notify("nvram", reply);
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].text, "error");
    EXPECT_EQ(deliveries[0].type, 0);
    EXPECT_TRUE(log_mentions(": parse recv notify value error.\n"));
    EXPECT_FALSE(log_mentions("notify_cb key"));
}

TEST_F(watched_store, a_bad_status_without_a_pair_is_only_logged)
{
    xresponse reply = text_reply("power", "on");
    reply.status = 1;
    reply.parses = false;
    store_notify("nvram", reply);
    store_descriptor_is_readable();
    EXPECT_TRUE(deliveries.empty());
    EXPECT_TRUE(log_mentions(": parse recv notify value error.\n"));
}

TEST_F(watched_store, a_reply_that_tells_neither_status_nor_pair_is_a_bad_one)
{
    xresponse reply = text_reply("power", "on");
    reply.is_told = false;
    store_notify("nvram", reply);
    store_descriptor_is_readable();
    EXPECT_TRUE(deliveries.empty());
    EXPECT_EQ(log_lines(), (texts{ "debug: notify_cb\n", "err: parse recv notify value error.\n" }));
}

TEST_F(watched_store, a_good_status_without_a_pair_calls_nothing)
{
    xresponse reply = text_reply("power", "on");
    reply.parses = false;
    store_notify("nvram", reply);
    store_descriptor_is_readable();
    EXPECT_TRUE(deliveries.empty());
}

TEST_F(watched_store, a_notification_time_out_reaches_the_callback_as_timeout)
{
    store_notification_times_out("nvram", text_reply("power", "on"));
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].key, "power");
    EXPECT_EQ(deliveries[0].text, "timeout");
    EXPECT_TRUE(log_mentions(": notify_timeout_cb\n"));
}

TEST_F(closed_store, without_a_callback_of_the_daemon_a_notification_ends_in_the_log)
{
    selvar_nvram_init(nullptr);
    selvar_nvram_register_notify("nvram", "power");
    store_notify_text("nvram", "power", "on");
    store_notification_times_out("nvram", text_reply("power", "on"));
    xresponse bad = text_reply("power", "on");
    bad.status = 1;
    store_notify("nvram", bad);
    xresponse odd = text_reply("power", "on");
    odd.type = 9;
    store_notify("nvram", odd);
    store_descriptor_is_readable();
    EXPECT_TRUE(log_mentions("notify_cb key: [power]\r\n"));
    EXPECT_FALSE(log_mentions("unused type"));
    EXPECT_EQ(store_live_pairs(), 0);
}

static void write_from_the_callback(const char *key, const void *)
{
    selvar_mem_set_string("seen", key, 0);
    selvar_nvram_register_notify("nvram", "another");
}

TEST_F(closed_store, the_callback_may_use_the_store)
{
    selvar_nvram_init(write_from_the_callback);
    selvar_nvram_register_notify("nvram", "power");
    store_notify_text("nvram", "power", "on");
    store_descriptor_is_readable();
    EXPECT_TRUE(called(R"(libselvar_set_value(mem, default, seen, 1, "power", yes, yes, 5, 0))"));
    EXPECT_TRUE(store_is_watched("nvram", "another"));
}

TEST_F(watched_store, notifications_arrive_in_the_order_in_which_they_came)
{
    store_notify_text("nvram", "power", "off");
    store_notify_text("nvram", "power", "on");
    store_descriptor_is_readable();
    ASSERT_EQ(deliveries.size(), 2U);
    EXPECT_EQ(deliveries[0].text, "off");
    EXPECT_EQ(deliveries[1].text, "on");
}

TEST_F(watched_store, outside_a_delivery_no_type_is_told)
{
    EXPECT_EQ(selvar_delivered_type, selvar_delivers_nothing);
    store_notify_text("nvram", "power", "off");
    store_descriptor_is_readable();
    EXPECT_EQ(selvar_delivered_type, selvar_delivers_nothing);
}
