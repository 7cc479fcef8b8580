// SPDX-License-Identifier: MIT
// Requests for properties and answers to pulls on their way from the cloud client's stream to the spec
// service.
#include "spec_routing_desk.h"

struct kit_field {
    const char *name;
    void (*given)();
    int siid, piid;
    const char *value;
};

// Each field with a value that no other has.
// clang-format off
static const kit_field kit_fields[] = {
    { "power",         [] { kit.power = 0; },         2, 1, "false" },
    { "flip",          [] { kit.flip = 1; },          2, 2, "180" },
    { "night",         [] { kit.night = 2; },         2, 3, "0" },
    { "wdr",           [] { kit.wdr = 1; },           2, 5, "true" },
    { "color",         [] { kit.color = 0; },         2, 6, "false" },
    { "motion_record", [] { kit.motion_record = 2; }, 2, 7, "2" },
    { "track_switch",  [] { kit.track_switch = 1; },  2, 8, "true" },
    { "watermark",     [] { kit.watermark = 0; },     2, 9, "false" },
    { "light",         [] { kit.light = 0; },         3, 1, "false" },
    { "card_status",   [] { kit.card_status = 5; },   4, 1, "5" },
};
// clang-format on

struct field_of_kit : spec_routing, testing::WithParamInterface<kit_field> {};

TEST_P(field_of_kit, is_read_from_kit_as_it_is_now)
{
    const kit_field &row = GetParam();
    row.given();
    request("get_properties",
            "\"siid\":" + std::to_string(row.siid) + ",\"piid\":" + std::to_string(row.piid));
    EXPECT_EQ(sent_texts(), texts{ value_reply(row.siid, row.piid, row.value) });
}

INSTANTIATE_TEST_SUITE_P(fields, field_of_kit, testing::ValuesIn(kit_fields),
                         [](const auto &row) { return row.param.name; });

TEST_F(spec_routing, requests_never_reach_the_dispatcher)
{
    request("get_properties", R"("siid":3,"piid":1)");
    request("set_properties", R"("siid":2,"piid":8,"value":true)");
    EXPECT_EQ(sent_texts(), (texts{ value_reply(3, 1, "true"), set_reply(2, 8) }));
    EXPECT_FALSE(log_mentions("msg_dispatcher, msg:"));
    EXPECT_FALSE(log_mentions("Unknown method"));
}

TEST_F(spec_routing, requests_set_the_last_id)
{
    request("get_properties", R"("siid":3,"piid":1)", 21);
    EXPECT_EQ(last_rpc_id, 21);
    request("set_properties", R"("siid":1,"piid":1)", 22);
    EXPECT_EQ(last_rpc_id, 22);
}

TEST_F(spec_routing, requests_without_an_id_have_the_one_before_in_the_block)
{
    block(R"({"id":41}{"method":"get_properties","params":[{"did":"1234567","siid":3,"piid":1}]})");
    EXPECT_TRUE(sent_texts().back().starts_with(R"({"id" : 41,)"));
}

TEST_F(spec_routing, requests_are_answered_one_after_the_other)
{
    block(R"({"id":1,"method":"get_properties","params":[{"did":"1234567","siid":3,"piid":1}]})"
          R"({"id":2,"method":"get_properties","params":[{"did":"1234567","siid":6,"piid":1}]})");
    ASSERT_EQ(sent_texts().size(), 2U);
    EXPECT_TRUE(sent_texts()[0].starts_with(R"({"id" : 1,)"));
    EXPECT_EQ(sent_texts()[1], R"({"id" : 2,"result" : []})");
}

struct long_params : spec_routing {
    static constexpr size_t looked_at = 1023; // characters of the parameters

    // Written as it is read again, so that it is as long as what is looked at.
    static std::string light_element(size_t length)
    {
        const std::string start = R"({ "did": "1234567", "siid": 3, "piid": 1, "pad": ")";
        const std::string end = R"(" })";
        return start + std::string(length - start.size() - end.size(), 'x') + end;
    }

    static std::string asks_for(const std::string &elements)
    {
        return R"({"id":7,"method":"get_properties","params":[)" + elements + "]}";
    }
};

TEST_F(long_params, are_served_whole_to_who_names_this_device_within_the_first_1023_characters)
{
    const std::string light = R"("siid":3,"piid":1})";
    const std::string answer = R"({"did" : "1234567","siid" : 3,"piid" : 1,"value" : true,"code" : 0})";
    std::string elements = R"({"did":"1234567",)" + light;
    std::string answers = answer;
    for (int i = 0; i < 60; i++) {
        elements += ",{" + light;
        answers += "," + answer;
    }
    const std::string request = asks_for(elements);
    ASSERT_GT(elements.size(), looked_at);

    EXPECT_EQ(block(request), static_cast<int>(request.size()));

    EXPECT_EQ(sent_texts(), texts{ R"({"id" : 7,"result" : [)" + answers + "]}" });
}

TEST_F(long_params, may_have_a_first_element_of_1023_characters)
{
    const std::string request = asks_for(light_element(looked_at));
    EXPECT_EQ(block(request), static_cast<int>(request.size()));
    EXPECT_EQ(sent_texts(), texts{ value_reply(3, 1, "true") });
}

TEST_F(long_params, whose_first_element_is_longer_end_their_block)
{
    const std::string next = R"({"id":8,"method":"get_prop","params":["power"]})";
    EXPECT_EQ(block(asks_for(light_element(looked_at + 1)) + next), -1);
    EXPECT_TRUE(logged("debug: nubo spec cmd did error"));
    EXPECT_FALSE(log_mentions("specdid"));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_EQ(last_rpc_id, 7);
}

TEST_F(spec_routing, of_a_request_that_names_this_device_first_serves_elements_of_another)
{
    request("get_properties", R"("siid":3,"piid":1},{"did":"7654321","siid":3,"piid":1)");
    EXPECT_EQ(sent_texts().size(), 1U);
    EXPECT_FALSE(log_mentions("did error"));
}

TEST_F(spec_routing, of_the_properties_member_needs_the_params_too)
{
    EXPECT_EQ(
        block(
            R"({"id":7,"method":"set_properties","properties":[{"did":"1234567","siid":2,"piid":8,"value":true}]})"),
        -1);
    EXPECT_TRUE(logged("debug: nubo spec cmd did error"));
    EXPECT_EQ(calls(), texts{});
}

struct first_element {
    const char *name;
    const char *params;
    const char *reply; // "": the request is dropped
};

// The texts of all elements stand one after the other, and the first JSON value in them is looked at.
static const first_element first_elements[] = {
    { "null_is_passed_over", R"([null,{"did":"1234567","siid":3,"piid":1}])",
      R"({"id" : 7,"result" : [,{"did" : "1234567","siid" : 3,"piid" : 1,"value" : true,"code" : 0}]})" },
    { "empty_text_is_passed_over", R"(["",{"did":"1234567","siid":3,"piid":1}])",
      R"({"id" : 7,"result" : [,{"did" : "1234567","siid" : 3,"piid" : 1,"value" : true,"code" : 0}]})" },
    { "text_that_holds_the_did", R"(["{\"did\":\"1234567\"}"])", R"({"id" : 7,"result" : []})" },
    { "number", R"([5,{"did":"1234567","siid":3,"piid":1}])", "" },
    { "text", R"(["text",{"did":"1234567","siid":3,"piid":1}])", "" },
    { "boolean", R"([true,{"did":"1234567","siid":3,"piid":1}])", "" },
    { "list", R"([[],{"did":"1234567","siid":3,"piid":1}])", "" },
    { "did_of_null", R"([{"did":null},{"did":"1234567","siid":3,"piid":1}])", "" },
    { "nothing_but_null", "[null]", "" },
};

struct of_a_request_that_begins : spec_routing, testing::WithParamInterface<first_element> {};

TEST_P(of_a_request_that_begins, decides_whether_it_is_served)
{
    const std::string reply = GetParam().reply;
    const std::string text =
        R"({"id":7,"method":"get_properties","params":)" + std::string(GetParam().params) + "}";
    EXPECT_EQ(block(text), reply.empty() ? -1 : static_cast<int>(text.size()));
    EXPECT_EQ(sent_texts(), reply.empty() ? texts{} : texts{ reply });
    EXPECT_EQ(!logged("debug: nubo spec cmd did error"), !reply.empty());
}

INSTANTIATE_TEST_SUITE_P(with, of_a_request_that_begins, testing::ValuesIn(first_elements),
                         [](const auto &row) { return row.param.name; });

TEST_F(spec_routing, before_the_device_id_is_known_harms_nobody)
{
    g_did[0] = '\0';
    nubo_spec_init("", 0, nullptr);
    block(R"({"id":7,"method":"set_properties","params":[{"did":"","siid":2,"piid":1,"value":true}]})");
    EXPECT_EQ(calls(), texts{});
}

struct pull_answer : spec_routing {};

TEST_F(pull_answer, is_stored_and_the_id_cleared)
{
    g_get_spec_id = 17;
    block(R"({"id":17,"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})");
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{ nvram_set("motion_alarm_interval", "9") });
    EXPECT_EQ(g_get_spec_id, -1);
    EXPECT_EQ(last_rpc_id, 17);
}

TEST_F(pull_answer, goes_on_to_the_dispatcher_afterwards)
{
    g_get_spec_id = 17;
    block(R"({"id":17,"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})");
    EXPECT_TRUE(in_order({ nvram_set("motion_alarm_interval", "9"), "warning: Unknown method\n" }));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(pull_answer, is_taken_once)
{
    g_get_spec_id = 17;
    std::string answer = R"({"id":17,"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})";
    block(answer + answer);
    EXPECT_EQ(calls_of("libselvar_set_value").size(), 1U);
}

TEST_F(pull_answer, to_an_earlier_pull_is_an_ordinary_message)
{
    g_get_spec_id = 18;
    block(R"({"id":17,"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})");
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{});
    EXPECT_EQ(g_get_spec_id, 18);
}

struct odd_answer : pull_answer, testing::WithParamInterface<const char *> {};

TEST_P(odd_answer, clears_the_id_and_stores_nothing)
{
    g_get_spec_id = 17;
    block(std::string(R"({"id":17)") + GetParam() + "}");
    EXPECT_EQ(g_get_spec_id, -1);
    EXPECT_EQ(calls(), texts{});
}

INSTANTIATE_TEST_SUITE_P(answers, odd_answer,
                         testing::Values("", R"(,"result":null)", R"(,"result":["ok"])", R"(,"result":{})",
                                         R"(,"result":{"properties":null})", R"(,"result":{"properties":5})",
                                         R"(,"properties":[{"siid":5,"piid":2,"value":"9"}])"));

TEST_F(pull_answer, may_be_a_request_and_is_served_as_one_too)
{
    g_get_spec_id = 7;
    request("get_properties", R"("siid":3,"piid":1)");
    EXPECT_EQ(g_get_spec_id, -1);
    EXPECT_EQ(sent_texts(), texts{ value_reply(3, 1, "true") });
}

TEST_F(pull_answer, with_id_minus_1_counts_while_nothing_was_pulled)
{
    block(R"({"id":-1,"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})");
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{ nvram_set("motion_alarm_interval", "9") });
    EXPECT_EQ(g_get_spec_id, -1);
}

TEST_F(pull_answer, without_an_id_belongs_to_a_pull_with_id_0)
{
    g_get_spec_id = 0;
    block(R"({"result":{"properties":[{"siid":5,"piid":2,"value":"9"}]}})");
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{ nvram_set("motion_alarm_interval", "9") });
    EXPECT_EQ(g_get_spec_id, -1);
}

TEST_F(pull_answer, is_cleared_before_a_message_with_a_wrong_device_id_is_dropped)
{
    g_get_spec_id = 7;
    EXPECT_EQ(block(R"({"id":7,"method":"get_properties","params":[{"did":"7654321"}]})"), -1);
    EXPECT_EQ(g_get_spec_id, -1);
}
