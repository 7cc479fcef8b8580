// SPDX-License-Identifier: MIT
// One block of the stream: cut into messages, each with its id, routed; the check of the device id.
#include "core/otd_link.h"

#include "fakes/daemon_desk.h"
#include "fakes/memory.h"

struct routing : daemon_desk {
    int block(const std::string &data)
    {
        return otd_recv_handler_block(kit.otd_sock, data.c_str(), static_cast<int>(data.size()));
    }
};

static const char status[] = R"({"method":"local.status","params":"none"})";

TEST_F(routing, a_block_is_logged_before_it_is_looked_at)
{
    block(R"({"id":7})");
    EXPECT_EQ(story().front(), "debug: otd_recv_handler_block(), sockfd: " + std::to_string(kit.otd_sock) +
                                   R"(, msg: {"id":7}, length: 8 bytes)"
                                   "\n");
}

TEST_F(routing, only_the_given_length_is_logged_and_looked_at)
{
    std::string both = R"({"id":7}{"id":8})";
    EXPECT_EQ(otd_recv_handler_block(kit.otd_sock, both.c_str(), 8), 8);
    EXPECT_EQ(last_rpc_id, 7);
    EXPECT_TRUE(log_mentions(R"(msg: {"id":7}, length: 8 bytes)"));
}

TEST_F(routing, a_whole_block_is_consumed)
{
    std::string two = R"({"id":7}{"id":8})";
    EXPECT_EQ(block(two), static_cast<int>(two.size()));
    EXPECT_EQ(last_rpc_id, 8);
}

TEST_F(routing, each_message_reaches_the_dispatcher_as_its_own_text_with_its_length)
{
    block(R"({"id":7}{"id":18})");
    EXPECT_TRUE(in_order({ "debug: msg_dispatcher, msg: {\"id\":7}, strlen: 8, len: 8\n",
                           "debug: msg_dispatcher, msg: {\"id\":18}, strlen: 9, len: 9\n" }));
}

TEST_F(routing, messages_of_the_cloud_client_have_origin_zero)
{
    rpc_origin = 1;
    block(R"({"id":7})");
    EXPECT_EQ(rpc_origin, 0);
}

TEST_F(routing, an_incomplete_rest_is_left_to_the_caller)
{
    EXPECT_EQ(block(R"({"id":7}{"id")"), 8);
    EXPECT_TRUE(
        logged("warning: otd_recv_handler_block(), token parse error msg: {\"id\", length: 5 bytes\n"));
}

TEST_F(routing, a_bad_rest_is_left_to_the_caller)
{
    EXPECT_EQ(block(R"({"id":7}}x)"), 8);
    EXPECT_TRUE(logged("warning: otd_recv_handler_block(), token parse error msg: }x, length: 2 bytes\n"));
}

TEST_F(routing, a_line_end_belongs_to_the_message_before_it)
{
    EXPECT_EQ(block("{\"id\":7}\n{\"id\":8}\r\n"), 19);
    EXPECT_TRUE(in_order({ "debug: msg_dispatcher, msg: {\"id\":7}\n, strlen: 9, len: 9\n",
                           "debug: msg_dispatcher, msg: {\"id\":8}\r\n, strlen: 10, len: 10\n" }));
    EXPECT_FALSE(log_mentions("token parse error"));
}

TEST_F(routing, a_message_that_finds_no_memory_ends_its_block)
{
    allocation_fails(1);
    EXPECT_EQ(block(R"({"id":7}{"id":8})"), -1);
    EXPECT_TRUE(allocation_failed());
    EXPECT_TRUE(logged("warning: otd_recv_handler_block(), malloc error\n"));
    EXPECT_FALSE(log_mentions("msg_dispatcher"));

    EXPECT_EQ(block(R"({"id":7})"), 8) << "the next block finds some";
}

struct bad_start : routing, testing::WithParamInterface<const char *> {};

TEST_P(bad_start, is_refused_and_nothing_of_it_is_handled)
{
    EXPECT_EQ(block(GetParam()), -1);
    EXPECT_TRUE(logged("err: json_verify: Not in json format: " + std::string(GetParam()) + "\n"));
    EXPECT_FALSE(log_mentions("msg_dispatcher"));
    EXPECT_EQ(last_rpc_id, 0);
}

INSTANTIATE_TEST_SUITE_P(blocks, bad_start, testing::Values("{\"id\":7", "x{\"id\":7}", "}", "{", "%s"));

TEST_F(routing, a_message_without_an_id_keeps_the_one_before_it)
{
    block(R"({"id":7})" + std::string(status));
    EXPECT_EQ(last_rpc_id, 7);
    EXPECT_TRUE(log_mentions("Got local.status not with the id...\n"));
}

TEST_F(routing, a_first_message_without_an_id_has_zero)
{
    last_rpc_id = 99;
    block(status);
    EXPECT_EQ(last_rpc_id, 0);
}

TEST_F(routing, an_id_that_is_no_integer_counts_as_none)
{
    block(R"({"id":7}{"id":"8"})");
    EXPECT_EQ(last_rpc_id, 7);
}

TEST_F(routing, the_id_does_not_carry_over_to_the_next_block)
{
    block(R"({"id":7})");
    block(status);
    EXPECT_EQ(last_rpc_id, 0);
}

TEST_F(routing, a_reply_of_the_cloud_client_is_dropped_without_an_answer)
{
    block(R"({"id":501,"result":["ok"]})");
    EXPECT_TRUE(logged("warning: Unknown method\n"));
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(routing, a_top_level_value_that_is_no_object_is_dropped_without_an_answer)
{
    EXPECT_EQ(block("[1]"), 3);
    EXPECT_EQ(sent_texts(), texts{});
}

struct spec_request {
    const char *name;
    const char *params;
};

struct spec_method_names_another : routing, testing::WithParamInterface<spec_request> {
    spec_method_names_another()
    {
        strcpy(g_did, "1234567");
    }
};

TEST_P(spec_method_names_another, so_the_rest_of_the_block_is_dropped)
{
    for (const char *method : { "get_properties", "set_properties" }) {
        record_clear();
        std::string message = R"({"id":7,"method":")" + std::string(method) + "\"" + GetParam().params + "}";
        EXPECT_EQ(block(message + R"({"id":8,"method":"get_prop","params":["power"]})"), -1) << method;
        EXPECT_TRUE(logged("debug: nubo spec cmd did error"));
        EXPECT_EQ(sent_texts(), texts{});
        EXPECT_EQ(last_rpc_id, 7);
    }
}

INSTANTIATE_TEST_SUITE_P(
    requests, spec_method_names_another,
    testing::Values(spec_request{ "another_did", R"(,"params":[{"did":"7654321","siid":2,"piid":1}])" },
                    spec_request{ "no_did", R"(,"params":[{"siid":2,"piid":1}])" },
                    spec_request{ "the_did_second",
                                  R"(,"params":[{"did":"x"},{"did":"1234567","siid":2,"piid":1}])" },
                    spec_request{ "empty_params", R"(,"params":[])" }, spec_request{ "no_params", "" },
                    spec_request{ "object_params", R"(,"params":{"did":"1234567"})" },
                    spec_request{ "properties_alone", R"(,"properties":[{"did":"1234567"}])" }),
    [](const auto &row) { return row.param.name; });

TEST_F(routing, a_spec_request_that_names_this_device_does_not_stop_the_block)
{
    strcpy(g_did, "1234567");
    std::string request =
        R"({"id":7,"method":"get_properties","params":[{"did":"1234567","siid":2,"piid":1}]})";
    std::string next = R"({"id":8,"method":"local.did","params":5})";
    EXPECT_EQ(block(request + next), static_cast<int>(request.size() + next.size()));
    EXPECT_FALSE(log_mentions("did error"));
    EXPECT_TRUE(logged("err: kivo_did = 5\n"));
}

TEST_F(routing, the_check_of_the_device_id_is_for_the_spec_methods_alone)
{
    strcpy(g_did, "1234567");
    block(R"({"id":7,"method":"get_prop","params":["power"]})");
    EXPECT_EQ(sent_texts(), texts{ R"({ "id": 7, "result": [ "on" ] })" });
    EXPECT_FALSE(log_mentions("specdid"));
}

struct did_match {
    const char *name;
    const char *text;
    const char *device;
    int result;
    const char *logged; // the id as it is compared; "": no line
};

struct device_id : routing, testing::WithParamInterface<did_match> {};

TEST_P(device_id, matches_only_when_it_is_equal)
{
    strcpy(g_did, GetParam().device);
    std::string text = GetParam().text;
    EXPECT_EQ(spec_did_match(text.c_str(), static_cast<int>(text.size())), GetParam().result);
    std::string compared = GetParam().logged;
    EXPECT_EQ(story(),
              compared.empty() ? texts{} : texts{ "debug: -------------->>>specdid : " + compared + "\n" });
}

static const did_match did_matches[] = {
    { "equal", R"({"did":"123","siid":2})", "123", 1, "123" },
    { "different", R"({"did":"124"})", "123", 0, "124" },
    { "shorter", R"({"did":"12"})", "123", 0, "12" },
    { "longer", R"({"did":"1234"})", "123", 0, "1234" },
    { "absent", R"({"siid":2})", "123", 0, "" },
    { "no_json", R"({"did")", "123", 0, "" },
    { "empty", "", "123", 0, "" },
    { "array", R"(["did"])", "123", 0, "" },
    { "first_of_two", R"({"did":"123"}{"did":"9"})", "123", 1, "123" },
    { "nineteen", R"({"did":"1234567890123456789"})", "1234567890123456789", 1, "1234567890123456789" },
    { "cut_to_nineteen", R"({"did":"12345678901234567890"})", "1234567890123456789", 1,
      "1234567890123456789" },
    { "twenty_never_match", R"({"did":"12345678901234567890"})", "12345678901234567890", 0,
      "1234567890123456789" },
    { "number", R"({"did":123})", "123", 1, "123" },
    { "null", R"({"did":null})", "123", 0, "" },
    { "null_of_an_unknown_device", R"({"did":null})", "", 0, "" },
};

INSTANTIATE_TEST_SUITE_P(rows, device_id, testing::ValuesIn(did_matches),
                         [](const auto &row) { return row.param.name; });
