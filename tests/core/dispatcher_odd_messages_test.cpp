// SPDX-License-Identifier: MIT
// Messages without an id, methods that nobody knows, repeats, and the methods of the feature modules.
#include "core/dispatcher.h"
#include "module_in_table.h"

#include "fakes/daemon_desk.h"

struct odd_messages : daemon_desk {
    odd_messages()
    {
        feedback_time = 0;
    }
    ~odd_messages() override
    {
        feedback_time = 0;
    }

    static int dispatch(const std::string &text, int origin = 0)
    {
        return msg_dispatcher(text.c_str(), static_cast<int>(text.size()), kit.otd_sock, origin);
    }
};

TEST_F(odd_messages, a_status_without_an_id_is_handled)
{
    EXPECT_EQ(dispatch(R"({"method":"local.status","params":"ap_mode"})"), 0);
    EXPECT_TRUE(
        in_order({ "debug: Got local.status not with the id...\n", mem_set("dev_status", "ap_mode") }));
    EXPECT_FALSE(log_mentions("Got local.status...\n"));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(odd_messages, a_bad_status_without_an_id_is_logged_as_failed)
{
    dispatch(R"({"method":"local.status","params":1})");
    EXPECT_TRUE(in_order({ "debug: Got local.status not with the id...\n", "err: local.status fail\n" }));
}

TEST_F(odd_messages, a_binding_without_an_id_is_handled)
{
    EXPECT_EQ(dispatch(R"({"method":"local.bind","result":"ok"})"), 0);
    EXPECT_TRUE(in_order({ "debug: Got local.bind not with the id...\n", nvram_set("bind_status", "ok") }));
}

TEST_F(odd_messages, a_bad_binding_without_an_id_is_logged_as_failed)
{
    dispatch(R"({"method":"local.bind"})");
    EXPECT_TRUE(in_order({ "debug: Got local.bind not with the id...\n", "err: local.bind fail\n" }));
}

TEST_F(odd_messages, an_id_that_is_no_integer_counts_as_none)
{
    dispatch(R"({"id":"7","method":"local.status","params":"none"})");
    EXPECT_TRUE(logged("debug: Got local.status not with the id...\n"));
}

struct ignored_message : odd_messages, testing::WithParamInterface<const char *> {};

TEST_P(ignored_message, without_an_id_leaves_no_word_but_the_first)
{
    EXPECT_EQ(dispatch(GetParam()), 0);
    EXPECT_EQ(story().size(), 1U) << "only the line of receipt";
}

INSTANTIATE_TEST_SUITE_P(messages, ignored_message,
                         testing::Values(R"({"method":"get_prop","params":["power"]})",
                                         R"({"method":"local.time","params":1700000000})",
                                         R"({"method":"nonsense"})", R"({"result":["ok"]})", "{}", "[]",
                                         "[7]"));

TEST_F(odd_messages, what_is_no_json_ends_in_the_log)
{
    EXPECT_EQ(dispatch("nonsense"), 0);
    EXPECT_TRUE(logged("err: json_verify_get_int: Not in json format: nonsense\n"));
    EXPECT_EQ(calls(), texts{});
}

struct unknown_message : odd_messages, testing::WithParamInterface<const char *> {};

TEST_P(unknown_message, is_logged_and_not_answered)
{
    EXPECT_EQ(dispatch(GetParam()), 0);
    EXPECT_TRUE(logged("warning: Unknown method\n"));
    EXPECT_EQ(calls(), texts{});
    EXPECT_FALSE(log_mentions("ackbuf"));
}

INSTANTIATE_TEST_SUITE_P(
    messages, unknown_message,
    testing::Values(R"({"id":5,"method":"nonsense"})", R"({"id":5})", R"({"id":5,"result":["ok"]})",
                    R"({"id":5,"method":null})", R"({"id":5,"method":["get_prop"]})",
                    R"({"id":5,"method":"get_prop\u0000"})", R"({"id":5,"method":"get_eth0_status_info"})",
                    R"({"id":5,"method":"get_hotspot_info"})", R"({"id":5,"method":"set_hotspot_info"})",
                    R"({"id":5,"method":"set_lock_region_status","params":[{}]})"));

struct repeated_feedback : odd_messages {
    static void asked_at(uint64_t milliseconds)
    {
        record_clear();
        platform.realtime_ms = 1700000000000 + milliseconds;
        dispatch(R"({"id":7,"method":"app_feedback_device_rpc","params":{"has_feedback":false}})");
    }

    static bool ran()
    {
        return log_mentions("app_feedback_device_rpc_parse _camwarden");
    }

    static bool dropped()
    {
        return logged("err: duplicated rpc method  ignor in 10s\n");
    }
};

TEST_F(repeated_feedback, is_dropped_within_ten_seconds_and_the_period_starts_anew_after_the_next_two)
{
    asked_at(0);
    EXPECT_TRUE(ran());
    asked_at(4000);
    EXPECT_TRUE(dropped());
    EXPECT_FALSE(ran());
    asked_at(12000);
    EXPECT_TRUE(ran());
    EXPECT_EQ(feedback_time, 0U) << "it has cleared the stamp";
    asked_at(13000);
    EXPECT_TRUE(ran());
    asked_at(14000);
    EXPECT_TRUE(dropped());
}

TEST_F(repeated_feedback, is_dropped_up_to_the_ten_thousandth_millisecond)
{
    asked_at(0);
    asked_at(10000);
    EXPECT_TRUE(dropped());
    asked_at(10001);
    EXPECT_TRUE(ran());
}

TEST_F(repeated_feedback, runs_when_the_clock_has_gone_back)
{
    asked_at(5000);
    asked_at(4999);
    EXPECT_TRUE(ran());
    EXPECT_EQ(feedback_time, 0U);
}

TEST_F(repeated_feedback, runs_when_the_difference_does_not_fit_32_bits)
{
    asked_at(0);
    asked_at(4294967296 + 5000);
    EXPECT_TRUE(ran());
}

TEST_F(repeated_feedback, keeps_the_stamp_of_the_first_call)
{
    asked_at(0);
    EXPECT_EQ(feedback_time, 1700000000000U);
    asked_at(4000);
    EXPECT_EQ(feedback_time, 1700000000000U);
}

TEST_F(repeated_feedback, is_told_by_the_method_alone)
{
    asked_at(0);
    record_clear();
    dispatch(R"({"id":8,"method":"app_feedback_device_rpc","params":{"has_feedback":true}})", 1);
    EXPECT_TRUE(dropped());
    EXPECT_EQ(calls(), texts{});
}

TEST_F(repeated_feedback, is_still_dropped_after_another_method)
{
    asked_at(0);
    dispatch(R"({"id":8,"method":"local.did","params":1})");
    asked_at(1000);
    EXPECT_TRUE(dropped());
}

TEST_F(repeated_feedback, logs_its_receipt_also_when_it_is_dropped)
{
    asked_at(0);
    asked_at(1000);
    EXPECT_TRUE(
        in_order({ "err: send app_feedback to fds\n", "err: duplicated rpc method  ignor in 10s\n" }));
}

TEST_F(repeated_feedback, counts_from_a_call_that_failed)
{
    platform.realtime_ms = 1700000000000;
    dispatch(R"({"id":7,"method":"app_feedback_device_rpc"})");
    asked_at(1000);
    EXPECT_TRUE(dropped());
}

// What the module's handler was given, and what it answers.
static texts handled;
static const char *answer;

static void note_and_answer(const char *msg, int32_t id, char *ackbuf, const char *method,
                            int32_t *reply_flag, int sock)
{
    handled.push_back(std::string(method) + " " + std::to_string(id) + " " + std::to_string(*reply_flag) +
                      " [" + ackbuf + "] " + msg);
    EXPECT_EQ(sock, kit.otd_sock);
    if (answer == nullptr)
        return;
    strcpy(ackbuf, answer);
    *reply_flag = 1;
}

static void note_second(const char *, int32_t, char *, const char *method, int32_t *, int)
{
    handled.push_back("second " + std::string(method));
}

static const module_method methods[] = {
    { "get_lamp", note_and_answer },
    { "local.did", note_and_answer },
    { "get_prop", note_and_answer },
    { "get_lamp", note_second },
};

struct module_methods : odd_messages {
    module_methods() : entered(module_with_methods("lamp", methods, 4))
    {
        handled.clear();
        answer = nullptr;
    }

    module_in_table entered;
};

TEST_F(module_methods, a_method_that_only_a_module_knows_is_answered_by_it)
{
    answer = "the lamp is lit";
    dispatch(R"({"id":7,"method":"get_lamp"})");
    EXPECT_EQ(handled, texts{ R"(get_lamp 7 0 [{"id":7,"error":{"code":-33020,"message":"Unknown method"}}] )"
                              R"({"id":7,"method":"get_lamp"})" });
    EXPECT_TRUE(in_order(
        { "warning: Unknown method\n", "debug: ackbuf: the lamp is lit\n", to_cloud("the lamp is lit") }));
}

TEST_F(module_methods, the_first_match_ends_the_search)
{
    dispatch(R"({"id":7,"method":"get_lamp"})");
    EXPECT_EQ(handled.size(), 1U);
}

TEST_F(module_methods, a_module_that_does_not_set_the_flag_leaves_it_unanswered)
{
    dispatch(R"({"id":7,"method":"get_lamp"})");
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(module_methods, a_module_runs_after_the_table_and_shares_flag_and_reply)
{
    dispatch(R"({"id":7,"method":"get_prop","params":["power"]})");
    EXPECT_EQ(handled, texts{ R"(get_prop 7 1 [{ "id": 7, "result": [ "on" ] }] )"
                              R"({"id":7,"method":"get_prop","params":["power"]})" });
    EXPECT_EQ(sent_texts(), texts{ R"({ "id": 7, "result": [ "on" ] })" });
}

TEST_F(module_methods, a_module_may_answer_where_the_table_is_silent)
{
    answer = "from the module";
    dispatch(R"({"id":7,"method":"local.did","params":5})");
    EXPECT_EQ(sent_texts(), texts{ "from the module" });
    EXPECT_TRUE(logged("err: kivo_did = 5\n"));
}

TEST_F(module_methods, a_module_is_not_asked_without_an_id)
{
    dispatch(R"({"method":"get_lamp"})");
    EXPECT_EQ(handled, texts{});
}

TEST_F(module_methods, a_module_is_not_asked_for_another_method)
{
    dispatch(R"({"id":7,"method":"get_lamps"})");
    EXPECT_EQ(handled, texts{});
}
