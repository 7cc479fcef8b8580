// SPDX-License-Identifier: MIT
// Is it JSON, is the member there, has it this value.
#include "util/json_verify.h"

#include "fakes/record.h"

#include <tuple>

struct json_verify_desk : testing::Test {
    json_verify_desk()
    {
        record_clear();
    }
};

using json_checks = json_verify_desk;

TEST_F(json_checks, a_text_that_parses_is_json)
{
    EXPECT_EQ(json_verify(R"({"id":1,"method":"get_prop"})"), 0);
    EXPECT_EQ(json_verify("[1,2]"), 0);
    EXPECT_EQ(json_verify("7"), 0);
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(json_checks, what_follows_the_first_value_does_not_matter)
{
    EXPECT_EQ(json_verify(R"({"id":1}{"id":2)"), 0);
    EXPECT_EQ(json_verify(R"({"id":1}garbage)"), 0);
    EXPECT_EQ(log_lines(), texts{});
}

struct json_refused : json_verify_desk, testing::WithParamInterface<const char *> {};

TEST_P(json_refused, by_each_function_with_its_own_name_in_the_log)
{
    const char *text = GetParam();
    int32_t number = 11;
    int32_t flag = 12;
    char buffer[16] = "as it was";

    EXPECT_EQ(json_verify(text), -1);
    EXPECT_EQ(json_verify_method(text, "id"), -1);
    EXPECT_EQ(json_verify_method_value(text, "id", "x", json_type_string), -1);
    EXPECT_EQ(json_verify_get_int(text, "id", &number), -1);
    EXPECT_EQ(json_verify_get_string(text, "id", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(json_verify_get_array(text, "id", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(json_verify_get_boolean(text, "id", &flag), -1);

    EXPECT_EQ(std::make_tuple(number, flag), std::make_tuple(11, 12));
    EXPECT_STREQ(buffer, "as it was");
    std::string end = std::string(": Not in json format: ") + text + "\n";
    EXPECT_EQ(log_lines(), (texts{ "err: json_verify" + end, "err: json_verify_method" + end,
                                   "err: json_verify_method_value" + end, "err: json_verify_get_int" + end,
                                   "err: json_verify_get_string" + end, "err: json_verify_get_array" + end,
                                   "err: json_verify_get_boolean" + end }));
}

INSTANTIATE_TEST_SUITE_P(texts_that_do_not_parse, json_refused,
                         testing::Values("", "x{\"id\":1}", "{\"id\":", "{\"id\":1,", "}", "get_prop", "   ",
                                         "%s%n{"));

TEST_F(json_checks, a_top_level_array_parses_and_fails_quietly_for_want_of_a_member)
{
    int32_t number = 11;
    char buffer[16] = "as it was";

    EXPECT_EQ(json_verify_method("[1]", "id"), -1);
    EXPECT_EQ(json_verify_method_value("[1]", "id", "x", json_type_string), -1);
    EXPECT_EQ(json_verify_get_int("[1]", "id", &number), -1);
    EXPECT_EQ(json_verify_get_boolean("[1]", "id", &number), -1);
    EXPECT_EQ(json_verify_get_string("[1]", "id", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(json_verify_get_array("[1]", "id", buffer, sizeof(buffer)), -1);

    EXPECT_EQ(number, 11);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(json_checks, a_missing_member_is_not_logged)
{
    EXPECT_EQ(json_verify_method(R"({"id":1})", "method"), -1);
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(json_checks, only_the_top_level_is_looked_at)
{
    EXPECT_EQ(json_verify_method(R"({"params":{"method":1}})", "method"), -1);
}

struct json_member_there : json_verify_desk, testing::WithParamInterface<const char *> {};

TEST_P(json_member_there, whatever_its_type)
{
    std::string text = R"({"method":)" + std::string(GetParam()) + "}";
    EXPECT_EQ(json_verify_method(text.c_str(), "method"), 0);
}

INSTANTIATE_TEST_SUITE_P(types, json_member_there,
                         testing::Values("null", "1", "1.5", "true", "\"\"", "[]", "{}"));

struct json_method_name : json_verify_desk, testing::WithParamInterface<std::tuple<const char *, int>> {};

TEST_P(json_method_name, matches_only_when_it_is_equal)
{
    auto [message, result] = GetParam();
    EXPECT_EQ(json_verify_method_value(message, "method", "get_prop", json_type_string), result);
    EXPECT_EQ(log_lines(), texts{});
}

INSTANTIATE_TEST_SUITE_P(messages, json_method_name,
                         testing::Values(std::make_tuple(R"({"method":"get_prop"})", 0),
                                         std::make_tuple(R"({"id":1,"method":"get_prop","params":[]})", 0),
                                         std::make_tuple(R"({"method":"get_prop_x"})", -1),
                                         std::make_tuple(R"({"method":"get_pro"})", -1),
                                         std::make_tuple(R"({"method":"GET_PROP"})", -1),
                                         std::make_tuple(R"({"method":"get_prop\u0000x"})", -1),
                                         std::make_tuple(R"({"method":""})", -1),
                                         std::make_tuple(R"({"method":null})", -1),
                                         std::make_tuple(R"({"method":["get_prop"]})", -1),
                                         std::make_tuple(R"({"name":"get_prop"})", -1)));

TEST_F(json_checks, a_number_matches_by_its_value)
{
    int32_t seven = 7;
    EXPECT_EQ(json_verify_method_value(R"({"id":7})", "id", &seven, json_type_int), 0);
    EXPECT_EQ(json_verify_method_value(R"({"id":8})", "id", &seven, json_type_int), -1);
    EXPECT_EQ(json_verify_method_value(R"({"id":"7"})", "id", &seven, json_type_int), -1);
    EXPECT_EQ(json_verify_method_value(R"({"id":7.0})", "id", &seven, json_type_int), -1);
}

TEST_F(json_checks, a_value_of_another_type_code_never_matches)
{
    int32_t one = 1;
    EXPECT_EQ(json_verify_method_value(R"({"a":true})", "a", &one, json_type_boolean), -1);
    EXPECT_EQ(json_verify_method_value(R"({"a":1.0})", "a", &one, json_type_double), -1);
    EXPECT_EQ(json_verify_method_value(R"({"a":[1]})", "a", &one, json_type_array), -1);
    EXPECT_EQ(json_verify_method_value(R"({"a":null})", "a", &one, json_type_null), -1);
}
