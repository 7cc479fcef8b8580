// SPDX-License-Identifier: MIT
// The value of a member: a number, a boolean, a text, the joined elements of an array.
#include "util/json_verify.h"

#include "fakes/record.h"

#include <cstring>
#include <string>
#include <tuple>

struct json_value_desk : testing::Test {
    json_value_desk()
    {
        record_clear();
    }
};

struct json_int : json_value_desk, testing::WithParamInterface<std::tuple<const char *, int, int>> {};

TEST_P(json_int, is_given_only_for_an_integer)
{
    auto [message, result, expected] = GetParam();
    int32_t value = 42;
    EXPECT_EQ(json_verify_get_int(message, "id", &value), result);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(log_lines(), texts{});
}

INSTANTIATE_TEST_SUITE_P(
    messages, json_int,
    testing::Values(std::make_tuple(R"({"id":5})", 0, 5), std::make_tuple(R"({"id":-1})", 0, -1),
                    std::make_tuple(R"({"id":0})", 0, 0),
                    std::make_tuple(R"({"id":2147483647})", 0, 2147483647),
                    std::make_tuple(R"({"id":"5"})", -1, 42), std::make_tuple(R"({"id":5.0})", -1, 42),
                    std::make_tuple(R"({"id":true})", -1, 42), std::make_tuple(R"({"id":null})", -1, 42),
                    std::make_tuple(R"({"no":5})", -1, 42)));

struct json_boolean : json_value_desk, testing::WithParamInterface<std::tuple<const char *, int, int>> {};

TEST_P(json_boolean, is_given_only_for_a_boolean)
{
    auto [message, result, expected] = GetParam();
    int32_t value = 42;
    EXPECT_EQ(json_verify_get_boolean(message, "b", &value), result);
    EXPECT_EQ(value, expected);
}

INSTANTIATE_TEST_SUITE_P(
    messages, json_boolean,
    testing::Values(std::make_tuple(R"({"b":true})", 0, 1), std::make_tuple(R"({"b":false})", 0, 0),
                    std::make_tuple(R"({"b":1})", -1, 42), std::make_tuple(R"({"b":"true"})", -1, 42),
                    std::make_tuple(R"({"b":null})", -1, 42), std::make_tuple("{}", -1, 42)));

// A buffer with one byte more than it is said to have, all of it '#': what is not written shows.
struct marked_buffer {
    char bytes[256];

    marked_buffer()
    {
        memset(bytes, '#', sizeof(bytes));
    }
};

TEST_F(json_value_desk, a_short_string_arrives_padded_but_for_the_last_byte)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_string(R"({"params":"abc"})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 9), std::string("abc\0\0\0\0##", 9));
}

TEST_F(json_value_desk, a_string_of_exactly_the_room_fills_all_but_the_last_byte)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_string(R"({"params":"abcdefg"})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 9), "abcdefg##");
}

TEST_F(json_value_desk, a_200_character_string_arrives_cut_to_127)
{
    char buffer[128] = {};
    std::string message = R"({"params":")" + std::string(200, 'x') + "\"}";
    EXPECT_EQ(json_verify_get_string(message.c_str(), "params", buffer, sizeof(buffer)), 0);
    EXPECT_EQ(std::string(buffer), std::string(127, 'x'));
}

struct json_no_string : json_value_desk, testing::WithParamInterface<const char *> {};

TEST_P(json_no_string, leaves_the_buffer_as_it_was)
{
    char buffer[16] = "as it was";
    EXPECT_EQ(json_verify_get_string(GetParam(), "params", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
}

INSTANTIATE_TEST_SUITE_P(messages, json_no_string,
                         testing::Values("{}", R"({"params":["on"]})", R"({"params":5})",
                                         R"({"params":null})", R"({"params":true})", R"({"params":{}})"));

struct json_array : json_value_desk, testing::WithParamInterface<std::tuple<const char *, const char *>> {};

TEST_P(json_array, arrives_joined_without_separator)
{
    auto [elements, expected] = GetParam();
    char buffer[128] = {};
    std::string message = R"({"params":)" + std::string(elements) + "}";
    EXPECT_EQ(json_verify_get_array(message.c_str(), "params", buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, expected);
}

INSTANTIATE_TEST_SUITE_P(
    elements, json_array,
    testing::Values(std::make_tuple(R"(["on"])", "on"), std::make_tuple("[1,2]", "12"),
                    std::make_tuple(R"(["a","bc",3])", "abc3"), std::make_tuple("[]", ""),
                    std::make_tuple(R"([null,"a",null,"b"])", "ab"), std::make_tuple(R"([""])", ""),
                    std::make_tuple(R"([true,1.5])", "true1.5"),
                    std::make_tuple(R"([{"did":"7","siid":2}])", R"({ "did": "7", "siid": 2 })"),
                    std::make_tuple(R"([[1,"x"]])", R"([ 1, "x" ])")));

TEST_F(json_value_desk, an_empty_array_leaves_the_buffer_untouched)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_array(R"({"params":[]})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 9), "#########");
}

TEST_F(json_value_desk, the_elements_of_an_array_stop_at_the_end_of_the_room)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_array(R"({"params":["abcd","efgh","ijkl"]})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 12), "abcdefg#####");
}

TEST_F(json_value_desk, an_element_that_ends_the_room_exactly_leaves_none_for_the_next)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_array(R"({"params":["abcd","efg","hij"]})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 12), "abcdefg#####");
}

TEST_F(json_value_desk, a_first_element_longer_than_the_room_is_cut)
{
    char buffer[128] = {};
    std::string message = R"({"params":[")" + std::string(300, 'x') + R"(","y"]})";
    EXPECT_EQ(json_verify_get_array(message.c_str(), "params", buffer, sizeof(buffer)), 0);
    EXPECT_EQ(std::string(buffer), std::string(127, 'x'));
}

TEST_F(json_value_desk, a_short_array_is_padded_but_for_the_last_byte)
{
    marked_buffer buffer;
    EXPECT_EQ(json_verify_get_array(R"({"params":["ab","c"]})", "params", buffer.bytes, 8), 0);
    EXPECT_EQ(std::string(buffer.bytes, 9), std::string("abc\0\0\0\0##", 9));
}

struct json_no_array : json_value_desk, testing::WithParamInterface<const char *> {};

TEST_P(json_no_array, leaves_the_buffer_as_it_was)
{
    char buffer[16] = "as it was";
    EXPECT_EQ(json_verify_get_array(GetParam(), "params", buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "as it was");
    EXPECT_EQ(log_lines(), texts{});
}

INSTANTIATE_TEST_SUITE_P(messages, json_no_array,
                         testing::Values("{}", R"({"params":"on"})", R"({"params":5})", R"({"params":null})",
                                         R"({"params":{}})"));
