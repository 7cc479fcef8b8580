// SPDX-License-Identifier: MIT
// "set_power": acknowledgement, report, write, in this order; and "toggle".
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"

static const char ok[] = R"({"id":7,"result":["OK"]})";

static std::string request(const std::string &params)
{
    return R"({"id":7,"method":"set_power","params":)" + params + "}";
}

static std::string report(const char *value)
{
    return R"({"id":501,"method":"props","params":{"power":")" + std::string(value) + "\"}}";
}

static texts acknowledged_and_changed_to(const char *value)
{
    return { to_cloud(ok), to_cloud(report(value)), nvram_set("power", value) };
}

struct set_power : daemon_desk {
    static int sets(const std::string &params)
    {
        return otd_power_process(kit.otd_sock, request(params).c_str());
    }
};

TEST_F(set_power, on_acknowledges_reports_and_writes)
{
    kit.power = 0;
    EXPECT_EQ(sets(R"(["on"])"), 0);
    EXPECT_EQ(calls(), acknowledged_and_changed_to("on"));
    EXPECT_EQ(kit.power, 0) << "it waits for the notification";
    EXPECT_FALSE(log_mentions("already"));
}

TEST_F(set_power, off_acknowledges_reports_and_writes)
{
    EXPECT_EQ(sets(R"(["off"])"), 0);
    EXPECT_EQ(calls(), acknowledged_and_changed_to("off"));
    EXPECT_EQ(kit.power, 1) << "it waits for the notification";
    EXPECT_FALSE(log_mentions("already"));
}

TEST_F(set_power, the_report_is_logged_before_it_is_sent)
{
    sets(R"(["off"])");
    EXPECT_TRUE(in_order({ "debug: msg: " + request(R"(["off"])") + "\n", to_cloud(ok),
                           "debug: reportbuf: " + report("off") + "\n", to_cloud(report("off")),
                           nvram_set("power", "off") }));
}

TEST_F(set_power, on_while_it_is_on_warns_and_does_it_all_the_same)
{
    kit.power = 2;
    sets(R"(["on"])");
    EXPECT_TRUE(logged("warning: otd_power_process: current is already normal status\n"));
    EXPECT_EQ(calls(), acknowledged_and_changed_to("on"));
}

TEST_F(set_power, off_while_the_flag_is_not_1_warns_and_does_it_all_the_same)
{
    kit.power = 2;
    sets(R"(["off"])");
    EXPECT_TRUE(logged("warning: otd_power_process: current is already sleep status\n"));
    EXPECT_EQ(calls(), acknowledged_and_changed_to("off"));
}

TEST_F(set_power, toggle_while_on_switches_off_at_once)
{
    EXPECT_EQ(sets(R"(["toggle"])"), 0);
    EXPECT_EQ(calls(), acknowledged_and_changed_to("off"));
    EXPECT_EQ(kit.power, 0);
}

TEST_F(set_power, toggle_while_off_switches_on_and_waits_for_the_notification)
{
    kit.power = 0;
    EXPECT_EQ(sets(R"(["toggle"])"), 0);
    EXPECT_EQ(calls(), acknowledged_and_changed_to("on"));
    EXPECT_EQ(kit.power, 0);
}

TEST_F(set_power, toggle_switches_on_when_the_flag_is_not_1)
{
    kit.power = 2;
    sets(R"(["toggle"])");
    EXPECT_EQ(calls(), acknowledged_and_changed_to("on"));
    EXPECT_EQ(kit.power, 2);
}

TEST_F(set_power, the_value_may_be_a_plain_string)
{
    EXPECT_EQ(sets(R"("toggle")"), 0);
    EXPECT_EQ(calls(), acknowledged_and_changed_to("off"));
    EXPECT_TRUE(log_mentions("]set_power params value : toggle"));
}

TEST_F(set_power, the_value_is_logged_with_function_and_line)
{
    sets(R"(["off"])");
    EXPECT_TRUE(log_mentions("debug: [otd_power_process]["));
    EXPECT_TRUE(log_mentions("] value = off"));
    EXPECT_FALSE(log_mentions("set_power params value"));
}

TEST_F(set_power, an_empty_array_falls_back_to_a_string_that_is_not_there)
{
    EXPECT_EQ(sets("[]"), 0);
    EXPECT_EQ(calls(), texts{ to_cloud(ok) });
    EXPECT_TRUE(log_mentions("]set_power params value : "));
}

TEST_F(set_power, any_other_text_is_acknowledged_and_changes_nothing)
{
    for (const char *params : { R"(["ON"])", R"(["standby"])", R"([1])", R"({"power":"on"})", "null" }) {
        record_clear();
        EXPECT_EQ(sets(params), 0) << params;
        EXPECT_EQ(calls(), texts{ to_cloud(ok) }) << params;
    }
    EXPECT_EQ(kit.power, 1);
}

TEST_F(set_power, during_an_update_is_refused_before_any_acknowledgement)
{
    kit.ota = 1;
    EXPECT_EQ(sets(R"(["off"])"), -1);
    EXPECT_EQ(story(), (texts{ "debug: msg: " + request(R"(["off"])") + "\n",
                               "err: OTA status current is true, Could not set power status\n" }));
}

TEST_F(set_power, from_the_spec_service_reports_without_acknowledging)
{
    rpc_origin = 1;
    EXPECT_EQ(sets(R"(["off"])"), 0);
    EXPECT_EQ(calls(), (texts{ to_cloud(report("off")), nvram_set("power", "off") }));
}

TEST_F(set_power, answers_on_the_cloud_clients_socket_whatever_socket_the_request_came_from)
{
    otd_power_process(99, request(R"(["off"])").c_str());
    for (const sent_message &sent : sends())
        EXPECT_EQ(sent.fd, kit.otd_sock);
    EXPECT_EQ(sends().size(), 2U);
}

TEST_F(set_power, without_a_link_still_writes_and_logs)
{
    kit.otd_sock = 0;
    EXPECT_EQ(sets(R"(["off"])"), 0);
    EXPECT_EQ(calls(), texts{ nvram_set("power", "off") });
    EXPECT_TRUE(logged("debug: reportbuf: " + report("off") + "\n"));
}

TEST_F(set_power, each_report_has_a_fresh_id)
{
    platform.next_random_id = 8;
    report_power_status("on");
    report_power_status("off");
    EXPECT_EQ(sent_texts(), (texts{ R"({"id":8,"method":"props","params":{"power":"on"}})",
                                    R"({"id":9,"method":"props","params":{"power":"off"}})" }));
}

TEST_F(set_power, a_report_gives_what_send_gave)
{
    EXPECT_EQ(report_power_status("on"), static_cast<int>(report("on").size()));
    kit.otd_sock = 0;
    EXPECT_EQ(report_power_status("on"), -1);
}

TEST_F(set_power, the_early_acknowledgement_carries_the_id_of_the_request)
{
    send_ok_reply(R"({"id":-12,"method":"set_power"})");
    EXPECT_EQ(sent_texts(), texts{ R"({"id":-12,"result":["OK"]})" });
}

TEST_F(set_power, the_early_acknowledgement_is_for_the_cloud_alone)
{
    rpc_origin = 1;
    send_ok_reply(R"({"id":12})");
    EXPECT_EQ(sent_texts(), texts{});
}
