// SPDX-License-Identifier: MIT
// What can be waited for: its words, and the lines of the journal that fulfil it.
#include "ctl/goal.h"

#include <gtest/gtest.h>

static goal parsed(const std::string &text)
{
    goal goal;
    std::string reason;
    EXPECT_TRUE(goal_parse(text, goal, reason)) << reason;
    return goal;
}

static std::string mistake_in(const std::string &text)
{
    goal goal;
    std::string reason;
    EXPECT_FALSE(goal_parse(text, goal, reason)) << text;
    return reason;
}

static bool fulfils(const std::string &text, const std::string &line)
{
    const goal goal = parsed(text);
    return goal.row->is_it(goal, json_parse(line).get());
}

static bool tells_about(const std::string &text, const std::string &line)
{
    const goal goal = parsed(text);
    return goal.row->is_about(goal, json_parse(line).get());
}

static std::string set_line(const std::string &space, const std::string &key, const std::string &value)
{
    return R"({"who":"store","what":"set","space":")" + space + R"(","key":")" + key + R"(","value":")" +
           value + R"(","by":"daemon"})";
}

TEST(ctl_goal, is_a_store_value)
{
    EXPECT_TRUE(fulfils("store nvram power = off", set_line("nvram", "power", "off")));
    EXPECT_FALSE(fulfils("store nvram power = off", set_line("nvram", "power", "on")));
    EXPECT_FALSE(fulfils("store nvram power = off", set_line("mem", "power", "off")));
    EXPECT_FALSE(fulfils("store nvram power = off", set_line("nvram", "light", "off")));
    EXPECT_FALSE(
        fulfils("store nvram power = off", R"({"who":"cloud","what":"received","text":"power = off"})"));
}

TEST(ctl_goal, is_a_store_value_in_nvram_when_no_space_is_named)
{
    EXPECT_TRUE(fulfils("store power = off", set_line("nvram", "power", "off")));
    EXPECT_TRUE(fulfils("store mem dev_status = normal", set_line("mem", "dev_status", "normal")));
}

TEST(ctl_goal, takes_a_value_as_it_is_with_blanks_and_equals_signs_or_nothing)
{
    EXPECT_TRUE(fulfils("store text = a = b  c", set_line("nvram", "text", "a = b  c")));
    EXPECT_TRUE(fulfils("store text=x", set_line("nvram", "text", "x")));
    EXPECT_TRUE(fulfils("store text =", set_line("nvram", "text", "")));
    EXPECT_TRUE(fulfils("store text = unset", set_line("nvram", "text", "unset")));
    EXPECT_FALSE(fulfils("store text =", set_line("nvram", "text", "x")));
}

TEST(ctl_goal, is_a_number_of_the_store)
{
    EXPECT_TRUE(
        fulfils("store mem time_night = 5",
                R"({"who":"store","what":"set","space":"mem","key":"time_night","type":5,"value":5})"));
}

TEST(ctl_goal, is_a_store_value_that_is_gone)
{
    const std::string unset = R"({"who":"store","what":"unset","space":"nvram","key":"mark","by":"control"})";
    EXPECT_TRUE(fulfils("store nvram mark unset", unset));
    EXPECT_TRUE(fulfils("store mark unset", unset));
    EXPECT_FALSE(fulfils("store mem mark unset", unset));
    EXPECT_FALSE(fulfils("store mark unset", set_line("nvram", "mark", "unset")));
}

TEST(ctl_goal, of_the_store_is_touched_by_all_that_changes_its_key)
{
    EXPECT_TRUE(tells_about("store power = off", set_line("nvram", "power", "on")));
    EXPECT_TRUE(tells_about("store power = off", R"({"who":"store","what":"reset","space":"nvram"})"));
    EXPECT_FALSE(tells_about("store power = off", set_line("nvram", "light", "on")));
    EXPECT_FALSE(tells_about("store power = off", R"({"who":"store","what":"reset","space":"mem"})"));
}

static std::string led_line(int index, int mode, int brightness, bool applied = true)
{
    return R"({"who":"daemon","what":"led","index":)" + std::to_string(index) + R"(,"brightness":)" +
           std::to_string(brightness) + R"(,"mode":)" + std::to_string(mode) + R"(,"applied":)" +
           (applied ? "true}" : "false}");
}

TEST(ctl_goal, is_what_an_led_shows)
{
    EXPECT_TRUE(fulfils("led 0 steady", led_line(0, 0, 50)));
    EXPECT_TRUE(fulfils("led 0 off", led_line(0, 1, 0)));
    EXPECT_TRUE(fulfils("led 1 blink", led_line(1, 2, 50)));
    EXPECT_TRUE(fulfils("led 1 blink 50", led_line(1, 2, 50)));
    EXPECT_FALSE(fulfils("led 1 blink 100", led_line(1, 2, 50)));
    EXPECT_FALSE(fulfils("led 0 blink", led_line(1, 2, 50)));
    EXPECT_FALSE(fulfils("led 0 steady", led_line(0, 1, 50)));
    EXPECT_FALSE(fulfils("led 0 steady", led_line(0, 7, 50)));
}

TEST(ctl_goal, is_not_an_led_that_was_asked_for_in_vain)
{
    EXPECT_FALSE(fulfils("led 0 off", led_line(0, 1, 0, false)));
    EXPECT_TRUE(tells_about("led 0 off", led_line(0, 1, 0, false)));
}

TEST(ctl_goal, is_where_the_head_has_come_to_rest)
{
    const std::string rests = R"({"who":"stage","what":"head","h":10,"v":50})";
    EXPECT_TRUE(fulfils("head 10,50", rests));
    EXPECT_TRUE(fulfils("head [10,50]", rests));
    EXPECT_TRUE(fulfils("head [10, 50]", rests));
    EXPECT_FALSE(fulfils("head 50,10", rests));
    EXPECT_TRUE(tells_about("head 1,1", R"({"who":"daemon","what":"motor","operation":1})"));
}

TEST(ctl_goal, is_a_text_that_the_cloud_gets_or_a_program_logs)
{
    const std::string message =
        R"({"who":"cloud","what":"received","text":"{\"id\":7,\"result\":[\"OK\"]}"})";
    const std::string sent = R"({"who":"cloud","what":"sent","text":"{\"id\":7,\"result\":[\"OK\"]}"})";
    const std::string log = R"({"who":"daemon","what":"log","level":3,"text":"selvar uninit.\n"})";
    EXPECT_TRUE(fulfils(R"(message "result":["OK"])", message));
    EXPECT_FALSE(fulfils(R"(message "result":["NO"])", message));
    EXPECT_FALSE(fulfils(R"(message "result":["OK"])", sent));
    EXPECT_TRUE(fulfils("log selvar uninit.", log));
    EXPECT_FALSE(fulfils("log selvar uninit.", message));
    EXPECT_FALSE(fulfils("message selvar", log));
}

TEST(ctl_goal, is_a_prompt_that_was_played)
{
    const auto line = [](const std::string &what) {
        return R"({"who":"player","what":")" + what + R"(","name":"reboot","lasts_ms":900,"at_ms":7000})";
    };
    EXPECT_TRUE(fulfils("prompt reboot", line("played")));
    EXPECT_FALSE(fulfils("prompt reboot", line("playing")));
    EXPECT_FALSE(fulfils("prompt bind", line("played")));
    EXPECT_TRUE(tells_about("prompt bind", line("prompt")));
}

TEST(ctl_goal, is_any_line_of_the_journal_by_its_members)
{
    EXPECT_TRUE(fulfils("line who=stage what=exit signal=9",
                        R"({"n":5,"ms":7,"who":"stage","what":"exit","program":"cloud","signal":9})"));
    EXPECT_FALSE(fulfils("line who=stage what=exit signal=9",
                         R"({"n":5,"ms":7,"who":"stage","what":"exit","program":"cloud","status":9})"));
    const goal goal = goal_of_line({ "what=received", "text=a text with blanks" });
    EXPECT_EQ(goal.text, "line what=received text=a text with blanks");
    EXPECT_TRUE(
        goal.row->is_it(goal, json_parse(R"({"what":"received","text":"a text with blanks"})").get()));
}

TEST(ctl_goal, that_does_not_exist_is_answered_with_what_can_be_waited_for)
{
    const std::string all = R"(begin with "store", "led", "head", "message", "log", "prompt" or "line")";
    EXPECT_EQ(mistake_in("stoer power = on"), "nothing called \"stoer\" can be waited for; " + all);
    EXPECT_EQ(mistake_in(""), "nothing called \"\" can be waited for; " + all);
}

TEST(ctl_goal, that_is_said_wrongly_is_answered_with_how_to_say_it)
{
    for (const char *text : { "store", "store power", "store disk power = on", "store a b c = d",
                              "store = on", "store unset", "store disk power unset" })
        EXPECT_EQ(mistake_in(text),
                  "\"" + std::string(text) +
                      "\" cannot be waited for; write store [nvram|mem] KEY = VALUE or store "
                      "[nvram|mem] KEY unset");
    for (const char *text : { "led", "led 0", "led 2 off", "led 0 dim", "led 0 off x", "led 0 off 1 2" })
        EXPECT_EQ(mistake_in(text),
                  "\"" + std::string(text) +
                      "\" cannot be waited for; write led 0|1 off|steady|blink [BRIGHTNESS]");
    for (const char *text : { "head", "head 10", "head 10,", "head 10,200", "head -1,5", "head 10,5,3" })
        EXPECT_EQ(mistake_in(text), "\"" + std::string(text) + "\" cannot be waited for; write head H,V");
    for (const char *text : { "message", "log", "prompt", "line", "line who", "line =stage" })
        EXPECT_NE(mistake_in(text).find("cannot be waited for; write "), std::string::npos) << text;
}

TEST(ctl_goal, of_each_kind_stands_in_the_help)
{
    const std::string help = goal_help();
    for (const goal_row &row : goal_table()) {
        EXPECT_NE(help.find(std::string("  ") + row.name + " " + row.words), std::string::npos) << row.name;
        EXPECT_NE(help.find(row.help), std::string::npos) << row.name;
    }
}
