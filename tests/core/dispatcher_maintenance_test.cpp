// SPDX-License-Identifier: MIT
// The methods that reboot the camera, and those whose receipt line carries the message; what all of them and
// the alarm sound have in common.
#include "core/dispatcher.h"

#include "fakes/daemon_desk.h"

struct maintenance : daemon_desk {
    static void asks(const std::string &message)
    {
        EXPECT_EQ(msg_dispatcher(message.c_str(), static_cast<int>(message.size()), kit.otd_sock, 0), 0);
    }
};

static const char ok[] = R"({"id":7,"result":["OK"]})";
static const char notice[] = R"({"method":"_internal.reboot","params":null})";
static const char refused[] = "err: device is otaing, don't allow reboot!\n";
static const char reported_1[] = R"(report_stat_object("camwarden.info", {"type":1}))";
static const char reported_2[] = R"(report_stat_object("camwarden.info", {"type":2}))";

static std::string ackbuf(const std::string &reply)
{
    return "debug: ackbuf: " + reply + "\n";
}

TEST_F(maintenance, a_restore_is_reported_carried_out_and_then_answered)
{
    asks(R"({"id":7,"method":"kiVO.restore"})");
    script_has_ended();
    EXPECT_TRUE(in_order({ "debug: Got kiVO.restore...\n", reported_1, nvram_reset,
                           mem_set("dev_status", "reset"), to_cloud(notice), ackbuf(ok), to_cloud(ok) }));
    EXPECT_EQ(sent_texts(), (texts{ notice, ok }));
    EXPECT_NE(kit.reboot_time, 0U);
    EXPECT_FALSE(log_mentions("kiVO restore fail"));
}

TEST_F(maintenance, a_restore_during_an_update_is_only_reported)
{
    kit.ota = 1;
    asks(R"({"id":7,"method":"kiVO.restore"})");
    EXPECT_TRUE(in_order({ "debug: Got kiVO.restore...\n", reported_1, refused, "debug: kiVO restore fail\n",
                           ackbuf(""), to_cloud("") }));
    EXPECT_EQ(calls().size(), 2U) << "the report, and an answer without a text";
    EXPECT_EQ(kit.reboot_time, 0U);
}

TEST_F(maintenance, a_restart_keeps_the_settings)
{
    asks(R"({"id":7,"method":"restart_device"})");
    script_has_ended();
    EXPECT_TRUE(
        in_order({ "info: recv restart infomation. The device reboot now.\n", mem_set("dev_status", "reset"),
                   reported_2, to_cloud(notice), ackbuf(ok), to_cloud(ok) }));
    EXPECT_EQ(sent_texts(), (texts{ notice, ok }));
    EXPECT_EQ(calls_of("libselvar_other"), texts{});
}

TEST_F(maintenance, a_restart_during_an_update_is_answered_and_reported_but_does_not_come)
{
    kit.ota = 1;
    asks(R"({"id":7,"method":"restart_device"})");
    EXPECT_TRUE(in_order({ mem_set("dev_status", "reset"), reported_2, refused, to_cloud(ok) }));
    EXPECT_EQ(sent_texts(), texts{ ok });
    EXPECT_EQ(kit.reboot_time, 0U);
}

TEST_F(maintenance, the_log_level_is_set_without_an_answer)
{
    asks(R"({"id":7,"method":"kiVO.config_loglevel","params":{"loglevel":4}})");
    EXPECT_TRUE(in_order({ "debug: Got kiVO.config_loglevel...\n", "log_set_syslog_level(7)" }));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(maintenance, a_bad_log_level_is_logged_once_and_not_answered)
{
    asks(R"({"id":7,"method":"kiVO.config_loglevel","params":{"loglevel":5}})");
    EXPECT_EQ(log_lines().back(), "err: get loglevel fail :5\n");
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(maintenance, loud_sound_settings_are_logged_with_the_message_written_and_answered)
{
    const std::string message = R"({"id":7,"method":"set_lsd_config","params":[{"lsd_switch":"1"}]})";
    asks(message);
    EXPECT_EQ(story()[1], "info: >>>>set_lsd_config=" + message + "\n");
    EXPECT_TRUE(in_order({ "info: otd_set_lsd_info , msg:" + message + " ... \n",
                           nvram_set("lsd_switch", "1"), ackbuf(ok), to_cloud(ok) }));
}

TEST_F(maintenance, loud_sound_settings_without_params_are_not_answered)
{
    asks(R"({"id":7,"method":"set_lsd_config"})");
    EXPECT_TRUE(log_mentions(": otd_set_lsd_info: set_props error\n"));
    EXPECT_FALSE(log_mentions("ackbuf"));
    EXPECT_EQ(calls(), texts{});
}

TEST_F(maintenance, loud_sound_settings_are_told)
{
    lsd_switch = 1;
    lsd_sensity = 3;
    const std::string message = R"({"id":7,"method":"get_lsd_config"})";
    const std::string reply = R"({"code":0,"id":7,"result":[{"lsd_switch":1,"lsd_push":0,"lsd_sensity":3}]})";
    asks(message);
    EXPECT_EQ(story()[1], "info: >>>>get_lsd_config=" + message + "\n");
    EXPECT_TRUE(in_order({ "info: >>>>ackbuf=" + reply + "\n", ackbuf(reply), to_cloud(reply) }));
}

struct singular_row {
    const char *name;
    const char *method;
    const char *params;
    const char *receipt; // without its line end
    bool carries_message;
};

// During an update, so that nothing reboots.
struct singular_method : maintenance, testing::WithParamInterface<singular_row> {
    singular_method()
    {
        kit.ota = 1;
    }

    static std::string named(const std::string &method)
    {
        return R"({"id":7,"method":")" + method + R"(","params":)" + GetParam().params + "}";
    }
};

TEST_P(singular_method, logs_its_receipt_right_behind_the_message)
{
    const std::string message = named(GetParam().method);
    asks(message);
    ASSERT_GE(story().size(), 2U);
    EXPECT_TRUE(story()[0].starts_with("debug: msg_dispatcher, msg: "));
    EXPECT_EQ(story()[1], GetParam().receipt + (GetParam().carries_message ? message : "") + "\n");
}

TEST_P(singular_method, without_an_id_is_ignored)
{
    asks(R"({"method":")" + std::string(GetParam().method) + R"(","params":)" + GetParam().params + "}");
    EXPECT_EQ(story().size(), 1U) << "only the message";
}

TEST_P(singular_method, is_told_by_its_whole_name)
{
    const std::string method = GetParam().method;
    for (const std::string &other : { method + "x", method.substr(0, method.size() - 1) }) {
        record_clear();
        asks(named(other));
        EXPECT_EQ(story().size(), 2U) << other;
        EXPECT_TRUE(logged("warning: Unknown method\n")) << other;
    }
}

static const singular_row singular_rows[] = {
    { "restore", "kiVO.restore", "[]", "debug: Got kiVO.restore...", false },
    { "restart", "restart_device", "[]", "info: recv restart infomation. The device reboot now.", false },
    { "log_level", "kiVO.config_loglevel", R"({"loglevel":4})", "debug: Got kiVO.config_loglevel...", false },
    { "alarm_sound", "alarm_sound", "[]", "debug: manual play alarm sound .... ", false },
    { "set_lsd_config", "set_lsd_config", R"([{"lsd_switch":"1"}])", "info: >>>>set_lsd_config=", true },
    { "get_lsd_config", "get_lsd_config", "[]", "info: >>>>get_lsd_config=", true },
};

INSTANTIATE_TEST_SUITE_P(rows, singular_method, testing::ValuesIn(singular_rows),
                         [](const auto &row) { return row.param.name; });
