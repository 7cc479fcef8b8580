// SPDX-License-Identifier: MIT
// One report by its two functions, whatever key it may be of.
#include "spec_desk.h"

struct one_report : spec_desk {};

TEST_F(one_report, has_its_pair_in_the_clouds_numbers)
{
    spec_selvar_changed(7, 9, 3, spec_boolean, "1");
    spec_selvar_changed_pair(7, 9, 0, spec_integer, "-4x");
    spec_selvar_changed(7, 7, 12, spec_boolean, "0");
    EXPECT_EQ(sent_texts(), (texts{ report(7, 3, "true"), report(7, 0, "-4"), report(7, 12, "false") }));
}

TEST_F(one_report, takes_a_boolean_from_what_its_text_converts_to)
{
    for (auto reports : { spec_selvar_changed, spec_selvar_changed_pair }) {
        for (const char *text : { "1", "-1", "7x" }) {
            sends_reset();
            reports(7, 2, 1, 3, text);
            EXPECT_EQ(sent_texts(), texts{ report(2, 1, "true") }) << text;
        }
        for (const char *text : { "0", "", "on", "true" }) {
            sends_reset();
            reports(7, 2, 1, 3, text);
            EXPECT_EQ(sent_texts(), texts{ report(2, 1, "false") }) << text;
        }
    }
}

TEST_F(one_report, differs_between_the_two_functions_in_the_text_alone)
{
    spec_selvar_changed(7, 2, 1, 1, "[1]");
    spec_selvar_changed_pair(7, 2, 1, 1, "[1]");
    EXPECT_EQ(sent_texts(), (texts{ report(2, 1, R"("[1]")"), report(2, 1, "[1]") }));
}

TEST_F(one_report, of_another_type_is_an_empty_text)
{
    for (int type : { 0, 4, -1 }) {
        record_clear();
        EXPECT_EQ(spec_selvar_changed(7, 2, 1, type, "1"), 0);
        EXPECT_EQ(spec_selvar_changed_pair(7, 2, 1, type, "1"), 0);
        const std::string line = "debug: [nubo spec]properties changed <ack> ";
        EXPECT_EQ(story(), (texts{ line, to_cloud(""), line, to_cloud("") }));
    }
}

TEST_F(one_report, returns_what_send_returned)
{
    next_send_gives(3, 0);
    EXPECT_EQ(spec_selvar_changed(7, 2, 1, 3, "1"), 3);
    nubo_spec_init("1234567", -1, nullptr);
    EXPECT_EQ(spec_selvar_changed_pair(7, 2, 1, 3, "1"), -1);
}

TEST_F(one_report, bounds_the_device_id)
{
    nubo_spec_init("12345678901234567890ABCDEF", kit.otd_sock, nullptr);
    spec_selvar_changed(7, 2, 1, 3, "1");
    spec_selvar_changed(7, 2, 1, 1, "x");
    for (const std::string &text : sent_texts())
        EXPECT_NE(text.find(R"("did" : "12345678901234567890",)"), std::string::npos) << text;
}
