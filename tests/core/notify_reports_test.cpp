// SPDX-License-Identifier: MIT
// What a notification tells the cloud before the daemon acts on it.
#include "core/dispatcher.h"
#include "core/notify.h"
#include "core/otd_link.h"
#include "module_in_table.h"

#include "fakes/daemon_desk.h"

static void hook_logs(const char *key, const void *)
{
    record_call("hook(%s)", key);
}

static struct module listening()
{
    struct module entry = module_with_methods("listening", nullptr, 0);
    entry.selvar_callback = hook_logs;
    return entry;
}

struct notify_reports : daemon_desk {
    notify_reports() : daemon_desk(selvar_notify_handler), entered(listening())
    {
        nubo_spec_init("1234567", kit.otd_sock, msg_dispatcher);
    }

    static void delivers(const xresponse &value)
    {
        selvar_nvram_register_notify("nvram", value.key.c_str());
        record_clear();
        store_notify("nvram", value);
        selvar_nvram_response();
    }

    module_in_table entered;
};

static std::string power_report(int id, const char *value)
{
    return R"({"id" : )" + std::to_string(id) +
           R"(,"method" : "properties_changed","params" : [{"did" : "1234567","siid" : 2,"piid" : 1,"value" : )" +
           value + "}]}";
}

static const char unknown_to_spec[] = "err: [nubo_spec_handle_properties_changed][1262]unknown key : ";

TEST_F(notify_reports, come_before_the_modules_and_the_row)
{
    delivers(text_reply("power", "off"));
    EXPECT_TRUE(in_order({ to_cloud(power_report(0, "false")), "hook(power)", "debug: kit.power: 0\n" }));
}

TEST_F(notify_reports, carry_the_id_of_the_last_message_of_the_cloud_client)
{
    std::string message = R"({"id":314,"result":"whatever"})";
    otd_recv_handler_block(kit.otd_sock, message.c_str(), static_cast<int>(message.size()));
    selvar_notify_handler("power", "on");
    EXPECT_EQ(sent_texts(), texts{ power_report(314, "true") });
}

TEST_F(notify_reports, do_not_come_for_a_removed_key)
{
    for (const char *key : { "power", "motor", "bind_status", "flip" })
        delivers(no_value_reply(key));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_FALSE(log_mentions("nubo_spec"));
}

TEST_F(notify_reports, of_a_key_that_is_no_property_are_a_line_and_the_row_runs_all_the_same)
{
    delivers(text_reply("max_client", "1"));
    EXPECT_TRUE(in_order(
        { unknown_to_spec + std::string("max_client"), "hook(max_client)", "debug: kit.max_client: 1\n" }));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(notify_reports, of_a_key_without_a_row_are_sent_too)
{
    delivers(text_reply("loud_detection_enable", "on"));
    EXPECT_EQ(sent_texts().size(), 1U);
    EXPECT_TRUE(logged("warning: unknown key: loud_detection_enable, msg: on\n"));
}

TEST_F(notify_reports, of_the_night_stamp_are_a_line)
{
    delivers(number_reply("time_night", 0x4141414141414141));
    EXPECT_TRUE(logged(unknown_to_spec + std::string("time_night")));
    EXPECT_EQ(kit.night_count, 1);
}

TEST_F(notify_reports, do_not_come_for_a_value_of_the_wrong_type)
{
    delivers(number_reply("power", 1));
    delivers(text_reply("time_night", "1"));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_FALSE(log_mentions("nubo_spec"));
}

TEST_F(notify_reports, take_an_error_as_a_text)
{
    xresponse bad = text_reply("power", "on");
    bad.status = 1;
    delivers(bad);
    EXPECT_EQ(sent_texts(), texts{ power_report(0, "false") });
}

TEST_F(notify_reports, find_no_socket_until_the_device_id_is_learnt)
{
    nubo_spec_init("", 0, nullptr);
    delivers(text_reply("power", "on"));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_TRUE(log_mentions("[nubo spec]properties changed <ack> "));

    delivers(text_reply("did", "1234567"));
    delivers(text_reply("power", "on"));
    EXPECT_EQ(sent_texts(), texts{ power_report(0, "true") });
}

TEST_F(notify_reports, find_no_socket_once_the_link_is_closed)
{
    otd_close();
    delivers(text_reply("power", "on"));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(notify_reports, of_the_pull_flag_send_the_pull_with_the_last_id)
{
    last_rpc_id = 99;
    delivers(text_reply("flag_pull_spec_properties", "yes"));
    EXPECT_EQ(g_get_spec_id, 99);
    EXPECT_TRUE(sent_texts().front().starts_with(R"({"id" : 99,"method":"_sync.spec_get_prop",)"));
    EXPECT_TRUE(called(mem_set("flag_pull_spec_properties", "no")));
}
