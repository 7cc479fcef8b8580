// SPDX-License-Identifier: MIT
// The cutting of the daemon's byte stream.
#include "cloud/stream.h"

#include <gtest/gtest.h>

#include <vector>

// The pieces of bytes, each with "json " or "text " before it; what stays behind comes last as "held ...".
static std::vector<std::string> pieces_of(const std::string &bytes, bool the_end = false)
{
    stream from{ bytes };
    std::vector<std::string> pieces;
    while (const auto piece = stream_take(from, the_end))
        pieces.push_back((piece->object ? "json " : "text ") + piece->text);
    if (!from.held.empty())
        pieces.push_back("held " + from.held);
    return pieces;
}

using texts = std::vector<std::string>;

TEST(cloud_stream, cuts_objects_that_follow_one_another)
{
    EXPECT_EQ(pieces_of(R"({"a":1}{"b":[2]}{"c":"}{"})"),
              (texts{ R"(json {"a":1})", R"(json {"b":[2]})", R"(json {"c":"}{"})" }));
}

TEST(cloud_stream, keeps_the_bytes_of_an_object_as_they_came)
{
    EXPECT_EQ(pieces_of("{ \"id\" : 7,\n \"result\": [ \"\\u00e4\\/\" ] }"),
              texts{ "json { \"id\" : 7,\n \"result\": [ \"\\u00e4\\/\" ] }" });
}

TEST(cloud_stream, waits_for_the_rest_of_an_object)
{
    EXPECT_EQ(pieces_of(R"({"a":1}{"b":)"), (texts{ R"(json {"a":1})", R"(held {"b":)" }));
}

TEST(cloud_stream, shows_what_is_no_json_as_it_is)
{
    EXPECT_EQ(pieces_of("hello 12 [3]"), texts{ "text hello 12 [3]" });
    EXPECT_EQ(pieces_of("\x01\xff"), texts{ "text \x01\xff" });
}

TEST(cloud_stream, finds_the_object_behind_what_is_none)
{
    EXPECT_EQ(pieces_of(R"({bad {"a":1} worse{"b":2})"),
              (texts{ "text {bad ", R"(json {"a":1})", "text  worse", R"(json {"b":2})" }));
}

TEST(cloud_stream, finds_the_object_behind_one_that_was_cut_short)
{
    EXPECT_EQ(pieces_of(R"({"result":["aaaa{"id":2})"),
              (texts{ R"(text {"result":["aaaa)", R"(json {"id":2})" }));
}

TEST(cloud_stream, gives_up_waiting_at_the_end)
{
    EXPECT_EQ(pieces_of(R"({"a":{"b":2})", true), (texts{ R"(text {"a":)", R"(json {"b":2})" }));
    EXPECT_EQ(pieces_of(R"({"a)", true), texts{ R"(text {"a)" });
}

TEST(cloud_stream, gives_up_waiting_for_an_object_without_bounds)
{
    const std::string endless = "{\"a\":\"" + std::string(300 * 1024, 'x');
    EXPECT_EQ(pieces_of(endless), texts{ "text " + endless });
}

TEST(cloud_stream, holds_nothing_of_nothing)
{
    EXPECT_EQ(pieces_of(""), texts{});
}
