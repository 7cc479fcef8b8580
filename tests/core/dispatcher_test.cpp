// SPDX-License-Identifier: MIT
// Each method: what is logged on receipt, which handler runs, what goes out, what a failure logs.
#include "core/dispatcher.h"

#include "fakes/daemon_desk.h"

struct dispatching : daemon_desk {
    dispatching()
    {
        feedback_time = 0;
    }
    ~dispatching() override
    {
        feedback_time = 0;
    }

    static int dispatch(const std::string &text, int origin = 0)
    {
        return msg_dispatcher(text.c_str(), static_cast<int>(text.size()), kit.otd_sock, origin);
    }

    // A request with id 7; rest holds further members.
    static int request(const std::string &method, const std::string &rest, int origin = 0)
    {
        return dispatch(R"({"id":7,"method":")" + method + "\"" + rest + "}", origin);
    }
};

static const char ok[] = R"({"id":7,"result":["OK"]})";
static const char one[] = R"({ "id": 7, "result": 1 })";

struct method_row {
    const char *method;
    const char *receipt; // the whole log line; "": none
    const char *rest;
    const char *evidence; // that the handler ran: a line of the story
    texts sent;
};

static const method_row rows[] = {
    { "set_motor",
      "debug: Got set_motor..\n",
      R"(,"params":{"operation":5})",
      "torvu_motor_control(5, \"[50,50]\", 16)",
      { R"({"id":7,"result":["OK"],"params":{"angle":50,"elevation":50}})" } },
    { "local.time",
      "debug: Got local.time...\n",
      R"(,"params":1700000000)",
      "settimeofday(1700000000.500000, null)",
      {} },
    { "local.status",
      "debug: Got local.status...\n",
      R"(,"params":"none")",
      "debug: local_handler_status: otd status: none\n",
      {} },
    { "local.bind",
      "debug: Got local.bind...\n",
      R"(,"result":"ok")",
      "debug: local_handler_bind: local.bind status: ok\n",
      {} },
    { "local.did", "debug: Got local.did...\n", R"(,"params":5)", "err: kivo_did = 5\n", {} },
    { "get_prop",
      "debug: Got get_prop...\n",
      R"(,"params":["power"])",
      "debug: props key:power, value:on!\n",
      { R"({ "id": 7, "result": [ "on" ] })" } },
    { "set_watermark",
      "",
      R"(,"params":["on"])",
      "libselvar_set_value(nvram, default, watermark, 1, \"on\", yes, yes, 5, 0)",
      { ok } },
    { "set_flip",
      "",
      R"(,"params":["on"])",
      "libselvar_set_value(nvram, default, flip, 1, \"on\", yes, yes, 5, 0)",
      { ok } },
    { "set_wdr",
      "debug: Got set_wdr...\n",
      R"(,"params":["on"])",
      "libselvar_set_value(nvram, default, wdr, 1, \"on\", yes, yes, 5, 0)",
      { ok } },
    { "set_motion_record",
      "debug: Got set_motion_record...\n",
      R"(,"params":["on"])",
      "info: set motion_record on ok!\n",
      { one } },
    { "setAlarmConfig",
      "debug: Got set_motion_alarm...\n",
      R"(,"params":[1,5])",
      "info: set motion_alarm [1,5] ok!\n",
      { ok } },
    { "getAlarmConfig",
      "debug: Got motion_alarm...\n",
      R"(,"params":[])",
      "",
      { R"({ "id": 7, "result": [ 9 ] })" } },
    { "set_motion_region", "", R"(,"params":[1,3])", "info: set motion_region [1,3] ok!\n", { ok } },
    { "get_motion_region",
      "",
      R"(,"params":[])",
      "debug: get_motion_region: {\"id\":7,\"result\":[3]}\n",
      { R"({"id":7,"result":[3]})" } },
    { "set_motion_detection_enable",
      "",
      R"(,"params":["on"])",
      "info: set motion_detection_enable on ok!\n",
      { ok } },
    { "update_log", "debug: Update the log to server.\n", "", "popen(\"/mnt/data/bin/log2ky.sh\", r)", {} },
    { "app_feedback_device_rpc",
      "err: send app_feedback to fds\n",
      R"(,"params":{"has_feedback":true})",
      "popen(\"/mnt/data/bin/kivo_log 18 &\", r)",
      {} },
    { "set_power",
      "",
      R"(,"params":["off"])",
      "libselvar_set_value(nvram, default, power, 1, \"off\", yes, yes, 5, 0)",
      { ok, R"({"id":501,"method":"props","params":{"power":"off"}})" } },
    { "set_light",
      "",
      R"(,"params":["off"])",
      "libselvar_set_value(nvram, default, light, 1, \"off\", yes, yes, 5, 0)",
      { ok } },
    { "set_full_color",
      "",
      R"(,"params":["on"])",
      "libselvar_set_value(nvram, default, full_color, 1, \"on\", yes, yes, 5, 0)",
      { ok } },
    { "set_night_mode",
      "debug: Got kiVO.night_mode...\n",
      R"(,"params":[2])",
      "libselvar_set_value(nvram, default, night_mode, 1, \"2\", yes, yes, 5, 0)",
      { ok } },
    { "set_improve_program",
      "debug: set improve_program...\n",
      R"(,"params":["on"])",
      "libselvar_set_value(nvram, default, improve_program, 1, \"on\", yes, yes, 5, 0)",
      { ok } },
};

static std::string name_of(const testing::TestParamInfo<method_row> &row)
{
    std::string name = row.param.method;
    for (char &letter : name)
        letter = letter == '.' ? '_' : letter;
    return name;
}

struct served_method : dispatching, testing::WithParamInterface<method_row> {
    served_method()
    {
        strcpy(motion_alarm_cfg, "[9]");
        strcpy(motion_region_cfg, "[3]");
    }
};

TEST_P(served_method, logs_its_receipt_before_anything_else)
{
    EXPECT_EQ(request(GetParam().method, GetParam().rest), 0);
    ASSERT_GE(story().size(), 2U);
    std::string receipt = GetParam().receipt;
    if (!receipt.empty())
        EXPECT_EQ(story()[1], receipt);
    else
        EXPECT_EQ(story()[1].find("Got "), std::string::npos);
}

TEST_P(served_method, runs_its_handler)
{
    request(GetParam().method, GetParam().rest);
    std::string evidence = GetParam().evidence;
    EXPECT_TRUE(evidence.empty() || in_order({ evidence }));
    EXPECT_FALSE(log_mentions("Unknown method"));
}

TEST_P(served_method, sends_what_it_is_meant_to_send)
{
    request(GetParam().method, GetParam().rest);
    EXPECT_EQ(sent_texts(), GetParam().sent);
    for (const sent_message &each : sends())
        EXPECT_EQ(each.flags, 0);
}

TEST_P(served_method, without_an_id_sends_nothing)
{
    dispatch(R"({"method":")" + std::string(GetParam().method) + "\"" + GetParam().rest + "}");
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_P(served_method, is_told_by_its_whole_name)
{
    request(GetParam().method + std::string("x"), GetParam().rest);
    EXPECT_TRUE(logged("warning: Unknown method\n"));
}

INSTANTIATE_TEST_SUITE_P(table, served_method, testing::ValuesIn(rows), name_of);

struct failing_row {
    const char *method;
    const char *rest;
    const char *line;
    texts sent;
};

struct failing_method : dispatching, testing::WithParamInterface<failing_row> {};

TEST_P(failing_method, logs_its_failure_and_sends_what_the_table_says)
{
    kit.ota = 1;
    EXPECT_EQ(request(GetParam().method, GetParam().rest), 0);
    EXPECT_TRUE(logged(GetParam().line));
    EXPECT_EQ(sent_texts(), GetParam().sent);
}

// A reply that is sent although no handler wrote one is a send of length 0.
static const failing_row failures[] = {
    { "set_motor",
      R"(,"params":{"operation":7})",
      "err: set_motor fail\n",
      { R"({"id":7,"error":{"code":-33020,"message":"unknown operation"}})" } },
    { "local.time", R"(,"params":"x")", "err: local.time fail\n", {} },
    { "local.status", R"(,"params":1)", "err: local.status fail\n", {} },
    { "local.bind", "", "err: local.bind fail\n", {} },
    { "local.did", R"(,"params":-1)", "err: local.did fail\n", {} },
    { "get_prop", R"(,"params":{})", "debug: send props ok!\n", { "" } },
    { "set_night_mode", R"(,"params":[1])", "err: kiVO.night_mode fail\n", { "" } },
    { "set_motion_record", R"(,"params":["on"])", "debug: ackbuf: \n", { "" } },
    { "getAlarmConfig", R"(,"params":[])", "debug: ackbuf: \n", { "" } },
    { "get_motion_region", R"(,"params":[])", "debug: ackbuf: \n", { "" } },
    { "setAlarmConfig", R"(,"params":[1])", "debug: ackbuf: {\"id\":7,\"result\":[\"OK\"]}\n", { ok } },
    { "set_motion_region", R"(,"params":[1])", "debug: ackbuf: {\"id\":7,\"result\":[\"OK\"]}\n", { ok } },
    { "set_motion_detection_enable", "", "debug: ackbuf: {\"id\":7,\"result\":[\"OK\"]}\n", { ok } },
};

INSTANTIATE_TEST_SUITE_P(table, failing_method, testing::ValuesIn(failures), [](const auto &row) {
    std::string name = row.param.method;
    return name.starts_with("local.") ? "local_" + name.substr(6) : name;
});

TEST_F(dispatching, the_message_is_logged_first_with_both_lengths)
{
    std::string text = R"({"id":7,"method":"get_prop","params":[]})";
    msg_dispatcher(text.c_str(), 1234, kit.otd_sock, 0);
    EXPECT_EQ(story().front(), "debug: msg_dispatcher, msg: " + text +
                                   ", strlen: " + std::to_string(text.size()) + ", len: 1234\n");
}

TEST_F(dispatching, the_props_line_comes_before_the_reply)
{
    request("get_prop", R"(,"params":["power"])");
    const std::string reply = R"({ "id": 7, "result": [ "on" ] })";
    EXPECT_TRUE(in_order({ "debug: Got get_prop...\n", "debug: props key:power, value:on!\n",
                           "debug: send props ok!\n", "debug: ackbuf: " + reply + "\n", to_cloud(reply) }));
}

TEST_F(dispatching, the_reply_carries_the_id_of_its_request)
{
    dispatch(R"({"id":-3,"method":"setAlarmConfig","params":[1]})");
    EXPECT_EQ(sent_texts(), texts{ R"({"id":-3,"result":["OK"]})" });
}

TEST_F(dispatching, the_reply_goes_to_the_socket_it_was_given)
{
    cloud_pair other;
    std::string text = R"({"id":7,"method":"get_prop","params":["power"]})";
    msg_dispatcher(text.c_str(), static_cast<int>(text.size()), other.daemon, 0);
    EXPECT_EQ(other.reads(), R"({ "id": 7, "result": [ "on" ] })");
    EXPECT_EQ(cloud.reads(), "");
}

TEST_F(dispatching, a_socket_that_is_down_takes_no_reply_but_the_lines_stay)
{
    kit.otd_sock = 0;
    EXPECT_EQ(request("get_prop", R"(,"params":["power"])"), 0);
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_TRUE(logged(R"(debug: ackbuf: { "id": 7, "result": [ "on" ] })"
                       "\n"));
}

TEST_F(dispatching, the_origin_is_kept_until_the_next_call)
{
    request("local.did", "", 1);
    EXPECT_EQ(rpc_origin, 1);
    request("local.did", "", 0);
    EXPECT_EQ(rpc_origin, 0);
}

TEST_F(dispatching, the_origin_is_taken_even_from_what_is_ignored)
{
    dispatch("nonsense", 1);
    EXPECT_EQ(rpc_origin, 1);
}

TEST_F(dispatching, a_call_of_the_spec_service_for_the_record_mode_is_answered_too)
{
    request("set_motion_record", R"(,"params":["on"])", 1);
    EXPECT_EQ(sent_texts(), texts{ one });
}

TEST_F(dispatching, a_call_of_the_spec_service_for_the_night_mode_is_answered_too)
{
    request("set_night_mode", R"(,"params":[1])", 1);
    EXPECT_EQ(sent_texts(), texts{ ok });
}

TEST_F(dispatching, a_call_of_the_spec_service_to_a_setter_is_silent)
{
    request("set_flip", R"(,"params":["on"])", 1);
    EXPECT_EQ(sent_texts(), texts{});
}
