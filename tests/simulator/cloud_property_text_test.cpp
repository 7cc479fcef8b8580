// SPDX-License-Identifier: MIT
// Reading what the daemon writes about properties, JSON or not.
#include "cloud/property_text.h"
#include "cloud/stream.h"

#include <gtest/gtest.h>

using texts = std::vector<std::string>;

// "2.1=true", "7.12 code -4003", "nothing"; "~" before what is no JSON.
static std::string entry_text(const property_entry &entry)
{
    if (entry.empty)
        return "nothing";
    std::string text = (entry.tidy ? "" : "~") + property_number_text(entry.number);
    if (entry.value)
        text += "=" + json_text(entry.value.get());
    return entry.code == 0 ? text : text + " code " + std::to_string(entry.code);
}

static texts entries_of(const std::string &text, property_message_kind kind = property_message_kind::answer,
                        int64_t id = 7)
{
    const property_message message = property_read(text);
    EXPECT_EQ(message.kind, kind) << text;
    EXPECT_EQ(message.id, id) << text;
    texts all;
    for (const property_entry &entry : message.entries)
        all.push_back(entry_text(entry));
    return all;
}

static std::string answer(const std::string &entries)
{
    return "{\"id\" : 7,\"result\" : [" + entries + "]}";
}

static std::string entry(const std::string &number, const std::string &value)
{
    const size_t point = number.find('.');
    return "{\"did\" : \"123\",\"siid\" : " + number.substr(0, point) +
           ",\"piid\" : " + number.substr(point + 1) + ",\"value\" : " + value + ",\"code\" : 0}";
}

static std::string report(const std::string &value)
{
    return R"({"id" : 7,"method" : "properties_changed","params" : [{"did" : "123","siid" : 10,"piid" : 1,"value" : )" +
           value + "}]}";
}

TEST(cloud_property_text, values_are_read_with_their_types)
{
    EXPECT_EQ(
        entries_of(answer(entry("2.1", "true") + "," + entry("2.2", "180") + "," + entry("1.1", "\"x\""))),
        (texts{ "2.1=true", "2.2=180", "1.1=\"x\"" }));
}

TEST(cloud_property_text, codes_are_read)
{
    EXPECT_EQ(entries_of(answer(R"({"did" : "123","siid" : 7,"piid" : 12,"code" : -4003})")),
              texts{ "7.12 code -4003" });
    EXPECT_EQ(entries_of(answer(R"({"did" : "123","siid" : 2,"piid" : 1,"code" : 0})")), texts{ "2.1" });
}

TEST(cloud_property_text, entries_that_are_missing_are_seen_wherever_they_are)
{
    const std::string one = entry("2.1", "true");
    const std::string other = entry("2.5", "false");
    EXPECT_EQ(entries_of(answer("," + one)), (texts{ "nothing", "2.1=true" }));
    EXPECT_EQ(entries_of(answer(one + ",")), (texts{ "2.1=true", "nothing" }));
    EXPECT_EQ(entries_of(answer(one + ",,," + other)),
              (texts{ "2.1=true", "nothing", "nothing", "2.5=false" }));
    EXPECT_EQ(entries_of(answer(",")), (texts{ "nothing", "nothing" }));
    EXPECT_EQ(entries_of(answer("")), texts{});
}

TEST(cloud_property_text, a_value_with_quotes_is_told_as_it_stands)
{
    EXPECT_EQ(entries_of(answer(entry("10.1", R"("the "blue" door")"))),
              texts{ R"(~10.1="the \"blue\" door")" });
    EXPECT_EQ(entries_of(answer(entry("10.1", R"(""")"))), texts{ R"(~10.1="\"")" });
    EXPECT_EQ(entries_of(answer(entry("10.1", R"("ends with \")"))), texts{ R"(~10.1="ends with \\")" });
}

TEST(cloud_property_text, a_value_with_quotes_does_not_hide_its_neighbours)
{
    EXPECT_EQ(entries_of(answer(entry("2.1", "true") + "," + entry("10.1", R"("a","code" : 5},{"b")") + ",," +
                                entry("2.5", "false"))),
              (texts{ "2.1=true", R"(~10.1="a\",\"code\" : 5},{\"b")", "nothing", "2.5=false" }));
}

TEST(cloud_property_text, a_line_break_in_a_value_is_no_trouble)
{
    EXPECT_EQ(entries_of(answer(entry("1.4", "\"4.1.2\n\""))), texts{ R"(1.4="4.1.2\n")" });
}

TEST(cloud_property_text, an_entry_that_was_cut_ends_after_999_characters)
{
    const std::string whole = entry("10.3", '"' + std::string(1200, 'x') + '"');
    const texts read = entries_of(answer(whole.substr(0, 999) + ",," + entry("2.1", "true")));
    ASSERT_EQ(read.size(), 3U);
    EXPECT_TRUE(read[0].starts_with("~10.3=\"xxx")) << read[0];
    EXPECT_EQ(read[1], "nothing");
    EXPECT_EQ(read[2], "2.1=true");
}

TEST(cloud_property_text, a_report_is_read)
{
    EXPECT_EQ(entries_of(report("\"garden\""), property_message_kind::report), texts{ "10.1=\"garden\"" });
    EXPECT_EQ(entries_of(report("-5"), property_message_kind::report), texts{ "10.1=-5" });
}

TEST(cloud_property_text, a_report_that_is_no_json_is_read_as_it_stands)
{
    EXPECT_EQ(entries_of(report(R"("a "b" c")"), property_message_kind::report),
              texts{ R"(~10.1="a \"b\" c")" });
    EXPECT_EQ(entries_of(report(R"({no: json])"), property_message_kind::report),
              texts{ R"(~10.1="{no: json]")" });
    EXPECT_EQ(entries_of(report(""), property_message_kind::report), texts{ R"(~10.1="")" });
}

TEST(cloud_property_text, what_says_nothing_about_properties_is_none_of_it)
{
    for (const char *text :
         { R"({"id":7,"result":["OK"]})", R"({ "id": 7, "result": 1 })",
           R"({"id":7,"result":[{"lock_region":1}]})", R"({"method":"register","key":"x"})",
           R"({"id" : 7,"result" : [)", "{\"id\" : 7", "no json", "" })
        EXPECT_EQ(property_read(text).kind, property_message_kind::none) << text;
}

TEST(cloud_property_text, messages_that_are_no_json_are_cut_whole_from_the_stream)
{
    const std::string holes = answer("," + entry("2.1", "true") + ",,");
    const std::string quotes = report(R"("the "b]}lue" door")");
    const std::string tidy = R"({"method":"register","key":"x"})";
    stream from{ holes + quotes + tidy + holes };

    texts pieces;
    while (const auto piece = stream_take(from, false))
        pieces.push_back(piece->text);

    EXPECT_EQ(pieces, (texts{ holes, quotes, tidy, holes }));
    EXPECT_EQ(from.held, "");
}

TEST(cloud_property_text, the_rest_of_a_message_that_is_no_json_is_waited_for)
{
    const std::string holes = answer("," + entry("2.1", "true"));
    stream from{ holes.substr(0, 60) };
    EXPECT_FALSE(stream_take(from, false));

    from.held += holes.substr(60);

    EXPECT_EQ(stream_take(from, false)->text, holes);
}

TEST(cloud_property_text, a_text_that_ends_with_a_backslash_is_over_when_nothing_more_comes)
{
    const std::string backslash = report(R"("ends with \")");
    stream from{ backslash };
    EXPECT_FALSE(stream_take(from, false));
    EXPECT_EQ(stream_take(from, true)->text, backslash);

    from.held = backslash + R"({"method":"register","key":"x"})";
    EXPECT_EQ(stream_take(from, false)->text, backslash);
}
