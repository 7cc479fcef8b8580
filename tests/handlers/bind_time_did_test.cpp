// SPDX-License-Identifier: MIT
// "local.bind", "local.time", "local.did" and the query for the device id.
#include "handlers/status.h"

#include "fakes/daemon_desk.h"
#include "fakes/failing.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>

struct local_messages : daemon_desk {
    local_messages()
    {
        setenv("TZ", "UTC", 1);
        tzset();
        platform.monotonic_s = 4321;
    }
};

struct good_binding : local_messages, testing::WithParamInterface<const char *> {};

TEST_P(good_binding, is_stored_at_once_and_makes_the_camera_normal)
{
    std::string message = R"({"method":"local.bind","result":")" + std::string(GetParam()) + "\"}";
    EXPECT_EQ(local_handler_bind(message.c_str()), 0);
    EXPECT_EQ(story(),
              (texts{ "debug: local_handler_bind: local.bind status: " + std::string(GetParam()) + "\n",
                      nvram_set("bind_status", "ok"), nvram_sync, mem_set("dev_status", "normal") }));
}

INSTANTIATE_TEST_SUITE_P(results, good_binding, testing::Values("ok", "", "fai", "not failed", "anything"));

struct failed_binding : local_messages, testing::WithParamInterface<const char *> {};

TEST_P(failed_binding, blinks_and_restores_the_defaults)
{
    std::string message = R"({"method":"local.bind","result":")" + std::string(GetParam()) + "\"}";
    EXPECT_EQ(local_handler_bind(message.c_str()), 0);
    EXPECT_EQ(calls(), (texts{ led(0, 0, 1, 0, 0, 1), led(1, 50, 2, 100, 200, 1), nvram_reset }));
}

INSTANTIATE_TEST_SUITE_P(results, failed_binding,
                         testing::Values("fail", "FAIL", "Failed", "failed: timeout"));

struct binding_row {
    const char *name;
    const char *result;
    texts calls;
    texts refused; // what a store that is closed leaves of them
};

static const std::string uninit = "err: selvar uninit.\n";

static const binding_row bindings[] = {
    { "good",
      "ok",
      { nvram_set("bind_status", "ok"), nvram_sync, mem_set("dev_status", "normal") },
      { uninit, uninit, uninit } },
    { "failed",
      "failed",
      { led(0, 0, 1, 0, 0, 1), led(1, 50, 2, 100, 200, 1), nvram_reset },
      { led(0, 0, 1, 0, 0, 1), led(1, 50, 2, 100, 200, 1), uninit } },
};

struct unlucky_binding : local_messages, testing::WithParamInterface<binding_row> {
    std::string text = R"({"method":"local.bind","result":")" + std::string(GetParam().result) + "\"}";
    json_text message = text.c_str();
};

TEST_P(unlucky_binding, comes_whole_whichever_call_fails)
{
    for (int nth = 1; nth <= std::ssize(GetParam().calls); nth++) {
        record_clear();
        call_fails(nth);
        EXPECT_EQ(local_handler_bind(message), 0) << nth;
        EXPECT_TRUE(call_failed()) << nth;
        EXPECT_EQ(calls(), GetParam().calls) << nth;
    }
}

TEST_P(unlucky_binding, asks_a_store_that_refuses_for_everything)
{
    store.set_result = store.sync_result = store.other_result = false;
    EXPECT_EQ(local_handler_bind(message), 0);
    EXPECT_EQ(calls(), GetParam().calls);
}

TEST_P(unlucky_binding, goes_through_with_a_store_that_is_closed)
{
    selvar_nvram_exit();
    record_clear();
    EXPECT_EQ(local_handler_bind(message), 0);
    texts after_the_receipt = story();
    after_the_receipt.erase(after_the_receipt.begin());
    EXPECT_EQ(after_the_receipt, GetParam().refused);
}

INSTANTIATE_TEST_SUITE_P(results, unlucky_binding, testing::ValuesIn(bindings),
                         [](const auto &row) { return row.param.name; });

TEST_F(local_messages, a_reported_time_sets_the_clock_to_the_middle_of_its_second)
{
    EXPECT_EQ(local_handler_time(R"({"params":1700000000})"), 0);
    EXPECT_EQ(story(), (texts{ "settimeofday(1700000000.500000, null)",
                               "info: Set system time success: Tue Nov 14 22:13:20 2023\n\n" }));
    EXPECT_EQ(kit.time_set_at, 4321U);
}

TEST_F(local_messages, the_first_second_of_1980_is_accepted)
{
    EXPECT_EQ(local_handler_time(R"({"params":315532800})"), 0);
    EXPECT_EQ(calls(), texts{ "settimeofday(315532800.500000, null)" });
    EXPECT_EQ(kit.time_set_at, 4321U);
}

TEST_F(local_messages, the_second_before_is_ignored)
{
    EXPECT_EQ(local_handler_time(R"({"params":315532799})"), 0);
    EXPECT_EQ(story(), texts{ "warning: Ignore system time: Mon Dec 31 23:59:59 1979\n\n" });
    EXPECT_EQ(kit.time_set_at, 0U);
}

TEST_F(local_messages, negative_seconds_are_ignored)
{
    EXPECT_EQ(local_handler_time(R"({"params":-1})"), 0);
    EXPECT_EQ(calls(), texts{});
}

TEST_F(local_messages, a_time_past_2038_is_set)
{
    EXPECT_EQ(local_handler_time(R"({"params":4102444800})"), 0);
    EXPECT_EQ(calls(), texts{ "settimeofday(4102444800.500000, null)" });
}

TEST_F(local_messages, a_clock_that_cannot_be_set_is_reported_with_the_systems_text)
{
    libc.settimeofday_result = -1;
    libc.settimeofday_errno = EPERM;
    EXPECT_EQ(local_handler_time(R"({"params":1700000000})"), 0);
    EXPECT_EQ(log_lines(), texts{ "warning: Set system time fail: Operation not permitted\n" });
    EXPECT_EQ(kit.time_set_at, 0U);
}

TEST_F(local_messages, a_device_id_is_shown_and_its_length_returned)
{
    EXPECT_EQ(local_handler_query_did(R"({"params":12345})"), 5);
    EXPECT_EQ(story(), texts{ "err: kivo_did = 12345\n" });
}

TEST_F(local_messages, a_device_id_of_zero_or_below_is_returned_as_it_is)
{
    EXPECT_EQ(local_handler_query_did(R"({"params":0})"), 0);
    EXPECT_EQ(local_handler_query_did(R"({"params":-7})"), -7);
    EXPECT_EQ(story(), texts{});
}

struct handler_of_messages {
    const char *name;
    int (*run)(const json_text &);
};

static const handler_of_messages handlers[] = {
    { "local_handler_bind", local_handler_bind },
    { "local_handler_time", local_handler_time },
    { "local_handler_query_did", local_handler_query_did },
    { "app_feedback_device_rpc_parse", app_feedback_device_rpc_parse },
};

struct malformed_message : local_messages, testing::WithParamInterface<handler_of_messages> {};

TEST_P(malformed_message, that_is_no_json_is_refused_with_a_warning)
{
    EXPECT_EQ(GetParam().run("no json"), -1);
    EXPECT_EQ(story(),
              texts{ "warning: " + std::string(GetParam().name) + ": Not in json format: no json\n" });
}

TEST_P(malformed_message, without_its_member_is_refused_without_a_line)
{
    EXPECT_EQ(GetParam().run(R"({"id":1})"), -1);
    EXPECT_EQ(story(), texts{});
}

INSTANTIATE_TEST_SUITE_P(handlers, malformed_message, testing::ValuesIn(handlers),
                         [](const auto &row) { return row.param.name; });

struct wrong_type {
    const char *name;
    int (*run)(const json_text &);
    const char *message;
};

struct member_of_another_type : local_messages, testing::WithParamInterface<wrong_type> {};

TEST_P(member_of_another_type, is_refused_without_a_line)
{
    EXPECT_EQ(GetParam().run(GetParam().message), -1);
    EXPECT_EQ(story(), texts{});
}

static const wrong_type wrong_types[] = {
    { "bind_number", local_handler_bind, R"({"result":1})" },
    { "bind_array", local_handler_bind, R"({"result":["ok"]})" },
    { "bind_null", local_handler_bind, R"({"result":null})" },
    { "bind_ok_in_params", local_handler_bind, R"({"params":"ok"})" },
    { "time_text", local_handler_time, R"({"params":"1700000000"})" },
    { "time_double", local_handler_time, R"({"params":1700000000.0})" },
    { "time_null", local_handler_time, R"({"params":null})" },
    { "did_text", local_handler_query_did, R"({"params":"12345"})" },
    { "did_null", local_handler_query_did, R"({"params":null})" },
};

INSTANTIATE_TEST_SUITE_P(messages, member_of_another_type, testing::ValuesIn(wrong_types),
                         [](const auto &row) { return row.param.name; });

TEST_F(local_messages, the_device_id_is_asked_for_with_a_fresh_id)
{
    platform.next_random_id = 77;
    otd_query_did();
    EXPECT_EQ(story(), (texts{ to_cloud(R"({"id":77,"method":"local.query_did","params":""})"),
                               "err: otd_query_did send success\n" }));
}

TEST_F(local_messages, a_query_that_cannot_be_sent_is_logged_as_sent_all_the_same)
{
    next_send_gives(-1, EPIPE);
    otd_query_did();
    EXPECT_EQ(story(), (texts{ to_cloud(R"({"id":501,"method":"local.query_did","params":""})"),
                               "err: otd_query_did send success\n" }));
}

TEST_F(local_messages, without_a_link_the_query_is_a_warning)
{
    kit.otd_sock = -1;
    otd_query_did();
    EXPECT_EQ(story(), texts{ "warning: otd_query_did(), otd_sock not ready: -1\n" });
}
