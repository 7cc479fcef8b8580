// SPDX-License-Identifier: MIT
// The file that says what a new camera's nvram holds.
#include "harness.h"
#include "store/defaults.h"
#include "store_process.h"

static key_map read_good(const std::string &text)
{
    key_map values;
    std::string problem;
    store_write_defaults(text);
    EXPECT_TRUE(defaults_read(desk_path("defaults"), values, problem)) << problem;
    return values;
}

// What is wrong, without the beginning that all these sentences share.
static std::string read_bad(const std::string &text)
{
    key_map values;
    std::string problem;
    store_write_defaults(text);
    EXPECT_FALSE(defaults_read(desk_path("defaults"), values, problem));
    const std::string beginning = "the factory defaults cannot be used: ";
    EXPECT_EQ(problem.substr(0, beginning.size()), beginning);
    return problem.substr(beginning.size());
}

STORY(store_defaults, a_line_gives_a_key_its_value)
{
    const key_map values = read_good("power = on\nmotor=[50,50]\n\n# a remark\n  light  =  off  \n");
    ASSERT_EQ(values.size(), 3U);
    EXPECT_EQ(values.at("power").text, "on");
    EXPECT_EQ(values.at("motor").text, "[50,50]");
    EXPECT_EQ(values.at("light").text, "off");
    EXPECT_EQ(values.at("light").type, wire_type::text);
}

STORY(store_defaults, a_value_may_be_empty_or_hold_any_sign)
{
    const key_map values = read_good("empty =\nodd = a = b # c\n");
    EXPECT_EQ(values.at("empty").text, "");
    EXPECT_EQ(values.at("odd").text, "a = b # c");
}

STORY(store_defaults, the_last_line_needs_no_end)
{
    EXPECT_EQ(read_good("power = on").at("power").text, "on");
}

STORY(store_defaults, a_file_with_carriage_returns_says_the_same)
{
    EXPECT_EQ(read_good("power = on\r\n\r\nlight = off\r\n").at("power").text, "on");
}

STORY(store_defaults, no_lines_are_no_values)
{
    EXPECT_EQ(read_good("# nothing\n").size(), 0U);
}

STORY(store_defaults, a_line_without_an_equals_sign_is_told_with_its_number)
{
    EXPECT_EQ(read_bad("power = on\n\nlight off\n"),
              "line 3 of " + desk_path("defaults") + " has no \"=\", write it as \"key = value\"");
}

STORY(store_defaults, a_line_without_a_key_is_told)
{
    EXPECT_EQ(read_bad(" = on\n"), "line 1 of " + desk_path("defaults") +
                                       " has no key before the \"=\", write it as \"key = value\"");
}

STORY(store_defaults, a_key_with_a_blank_is_told)
{
    EXPECT_EQ(read_bad("night mode = 1\n"),
              "line 1 of " + desk_path("defaults") + " has a blank inside the key, write it without");
}

STORY(store_defaults, a_key_that_is_given_twice_is_told)
{
    EXPECT_EQ(read_bad("power = on\npower = on\n"),
              "line 2 of " + desk_path("defaults") +
                  " gives a key that an earlier line gave, remove one of the two");
}

STORY(store_defaults, a_nul_byte_is_told)
{
    EXPECT_EQ(read_bad(std::string("power = o\0n\n", 12)),
              "line 1 of " + desk_path("defaults") + " holds a NUL byte, which no value may");
}

STORY(store_defaults, what_is_too_long_is_told)
{
    EXPECT_NE(read_bad(std::string(1025, 'k') + " = on\n").find("more than 1024 bytes"), std::string::npos);
    EXPECT_NE(read_bad("k = " + std::string(1048577, 'v')).find("more than 1048576 bytes"),
              std::string::npos);
}

STORY(store_defaults, a_file_that_is_not_there_is_told)
{
    key_map values;
    std::string problem;
    EXPECT_FALSE(defaults_read(desk_path("nowhere"), values, problem));
    EXPECT_EQ(problem, "the factory defaults in " + desk_path("nowhere") +
                           " cannot be read: No such file or directory");
}

STORY(store_defaults, a_folder_is_no_file)
{
    key_map values;
    std::string problem;
    EXPECT_FALSE(defaults_read(desk_path(""), values, problem));
    EXPECT_NE(problem.find("Is a directory"), std::string::npos) << problem;
}

STORY(store_defaults, those_of_the_camera_describe_one_that_is_new)
{
    key_map values;
    std::string problem;
    ASSERT_TRUE(defaults_read(CAMERA_PROGRAMS "/../factory/defaults", values, problem)) << problem;
    for (const char *key : { "vendor", "model" })
        EXPECT_FALSE(values[key].text.empty()) << key;
    EXPECT_EQ(values["motor"].text, "[50,50]");
    EXPECT_EQ(values["power"].text, "on");
    EXPECT_EQ(values["language"].text, "en");
    EXPECT_EQ(values.count("bind_status"), 0U); // nobody has bound it
    EXPECT_EQ(values["did"].text.find_first_not_of("0123456789"), std::string::npos);
    EXPECT_GE(values["did"].text.size(), 1U);
    EXPECT_LE(values["did"].text.size(), 19U);
}
