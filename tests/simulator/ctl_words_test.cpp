// SPDX-License-Identifier: MIT
// Command lines: options, commands, help, and what is said about mistakes.
#include "common/nearest.h"
#include "ctl/commands.h"

#include <gtest/gtest.h>

#include <set>

using texts = std::vector<std::string>;

static std::string mistake_in(const texts &line)
{
    ctl_options options;
    std::string reason;
    EXPECT_FALSE(options_parse(line, options, reason));
    return reason;
}

TEST(ctl_options, stand_anywhere)
{
    ctl_options options;
    std::string reason;

    ASSERT_TRUE(options_parse({ "--name", "porch", "call", "--json", "get_prop", "[]" }, options, reason));

    EXPECT_EQ(options.name, "porch");
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.words, (texts{ "call", "get_prop", "[]" }));
}

TEST(ctl_options, take_their_value_after_a_blank_or_an_equals_sign)
{
    ctl_options options;
    std::string reason;

    ASSERT_TRUE(options_parse({ "--state=/a=b", "--preset", "asan" }, options, reason));

    EXPECT_EQ(options.state, "/a=b");
    EXPECT_EQ(options.preset, "asan");
}

TEST(ctl_options, end_at_two_dashes)
{
    ctl_options options;
    std::string reason;

    ASSERT_TRUE(options_parse({ "store", "set", "--", "key", "--json" }, options, reason));

    EXPECT_FALSE(options.json);
    EXPECT_EQ(options.words, (texts{ "store", "set", "key", "--json" }));
}

TEST(ctl_options, leave_negative_numbers_alone)
{
    ctl_options options;
    std::string reason;

    ASSERT_TRUE(options_parse({ "store", "set", "key", "-5" }, options, reason));

    EXPECT_EQ(options.words.back(), "-5");
}

TEST(ctl_options, that_are_mistaken_are_told_with_the_nearest)
{
    EXPECT_EQ(mistake_in({ "run", "--detatch" }),
              "there is no option \"--detatch\", did you mean \"--detach\"?");
    EXPECT_EQ(mistake_in({ "run", "--qqqqqq" }), "there is no option \"--qqqqqq\"; ./camera help lists them");
    EXPECT_EQ(mistake_in({ "run", "--name" }), "the option --name wants a value: --name NAME");
    EXPECT_EQ(mistake_in({ "run", "--state=" }), "the option --state wants a value: --state DIR");
    EXPECT_EQ(mistake_in({ "run", "--json=yes" }), "the option --json takes no value");
}

TEST(ctl_options, each_say_what_they_do)
{
    for (const option_row &row : options_table()) {
        EXPECT_STRNE(row.help, "") << row.name;
        EXPECT_NE(row.flag == nullptr, row.text == nullptr) << row.name;
        EXPECT_EQ(row.text != nullptr, row.argument != nullptr) << row.name;
    }
}

TEST(ctl_commands, each_have_a_help_of_one_line_and_something_to_run)
{
    std::set<std::string> names;
    for (const ctl_command &row : commands_table()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_STRNE(row.help, "") << row.name;
        EXPECT_EQ(std::string(row.help).find('\n'), std::string::npos) << row.name;
        EXPECT_NE(row.run, nullptr) << row.name;
        EXPECT_LE(row.least, row.most) << row.name;
        EXPECT_EQ(row.most == 0, row.arguments[0] == '\0') << row.name;
        EXPECT_NE(commands_help().find(std::string("  ") + row.name), std::string::npos) << row.name;
        EXPECT_NE(commands_help_for(row).find(row.help), std::string::npos) << row.name;
        EXPECT_NE(commands_help_for(row).find("--json"), std::string::npos) << row.name;
    }
}

TEST(ctl_commands, take_only_options_that_there_are)
{
    std::set<std::string> known;
    for (const option_row &row : options_table())
        known.insert(row.name);
    for (const ctl_command &row : commands_table()) {
        std::string options = row.options;
        for (size_t end = 0; !options.empty(); options.erase(0, end)) {
            end = std::min(options.find(' '), options.size() - 1) + 1;
            const std::string option = options.substr(0, options.find(' '));
            EXPECT_TRUE(known.contains(option)) << row.name << " " << option;
        }
    }
}

TEST(ctl_commands, of_two_words_are_found)
{
    size_t used = 0;
    std::string reason;

    const ctl_command *command = commands_find({ "store", "get", "power" }, used, reason);

    ASSERT_NE(command, nullptr);
    EXPECT_STREQ(command->name, "store get");
    EXPECT_EQ(used, 2U);
}

static std::string no_command(const texts &words)
{
    size_t used = 0;
    std::string reason;
    EXPECT_EQ(commands_find(words, used, reason), nullptr);
    return reason;
}

TEST(ctl_commands, that_are_mistaken_are_told_with_the_nearest)
{
    EXPECT_EQ(no_command({ "leeds" }), "there is no command \"leeds\", did you mean \"leds\"?");
    EXPECT_EQ(no_command({ "fly" }), "there is no command \"fly\"; ./camera help lists them");
    EXPECT_EQ(no_command({ "store" }), R"("store" wants "get", "set", "unset", "list" or "watch" after it)");
    EXPECT_EQ(no_command({ "restart", "store" }),
              R"(there is no command "restart store"; after "restart" comes "daemon")");
}

static std::string wrong_with(const texts &line)
{
    ctl_request request;
    std::string reason;
    size_t used = 0;
    EXPECT_TRUE(options_parse(line, request.options, reason));
    const ctl_command *command = commands_find(request.options.words, used, reason);
    request.arguments.assign(request.options.words.begin() + static_cast<long>(used),
                             request.options.words.end());
    return commands_check(*command, request);
}

TEST(ctl_commands, say_what_they_do_not_take)
{
    EXPECT_EQ(wrong_with({ "call" }), "\"call\" wants more: ./camera call METHOD [PARAMS]");
    EXPECT_EQ(wrong_with({ "leds", "1" }),
              "\"leds\" cannot take \"1\" (a text with blanks wants quotes): ./camera leds");
    EXPECT_EQ(wrong_with({ "stop", "--fresh" }),
              "\"stop\" takes no option --fresh; ./camera stop --help says more");
    EXPECT_EQ(wrong_with({ "run", "--fresh", "--json" }), "");
}

TEST(nearest, distance_counts_edits)
{
    EXPECT_EQ(edit_distance("", ""), 0U);
    EXPECT_EQ(edit_distance("abc", ""), 3U);
    EXPECT_EQ(edit_distance("set_power", "set_power"), 0U);
    EXPECT_EQ(edit_distance("set_powr", "set_power"), 1U);
    EXPECT_EQ(edit_distance("stauts", "status"), 1U);
    EXPECT_EQ(edit_distance("kitten", "sitting"), 3U);
}

TEST(nearest, names_come_nearest_first_and_at_most_three)
{
    const texts names = { "set_flip", "set_light", "set_wdr", "get_prop", "set_night_mode" };
    EXPECT_EQ(nearest_names("set_ligth", names), texts{ "set_light" });
    EXPECT_EQ(nearest_names("night", names), texts{ "set_night_mode" });
    EXPECT_EQ(nearest_names("zzz", names), texts{});
    EXPECT_EQ(nearest_names("aaaa", { "aaab", "aaac", "aaad", "aaae" }).size(), 3U);
}

TEST(nearest, names_read_as_a_choice)
{
    EXPECT_EQ(one_of({}), "");
    EXPECT_EQ(one_of({ "a" }), "\"a\"");
    EXPECT_EQ(one_of({ "a", "b", "c" }), R"("a", "b" or "c")");
}
