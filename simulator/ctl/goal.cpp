// SPDX-License-Identifier: MIT
#include "ctl/goal.h"

#include "common/nearest.h"
#include "ctl/prompts.h"
#include "ctl/say.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

static std::vector<std::string> split(const std::string &text)
{
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

static bool is(json_object *line, const char *member, const std::string &text)
{
    return json_object_object_get_ex(line, member, nullptr) != 0 && json_get_text(line, member) == text;
}

// The store: a value is a text of any kind behind "= ", so only what stands before it is split.

static bool take_key(goal &goal, const std::string &text)
{
    std::vector<std::string> words = split(text);
    if (words.size() == 1)
        words.insert(words.begin(), "nvram");
    if (words.size() != 2 || (words[0] != "nvram" && words[0] != "mem"))
        return false;
    goal.space = words[0];
    goal.key = words[1];
    return true;
}

static bool take_value(goal &goal, const std::string &words)
{
    const size_t equals = words.find('=');
    if (equals == std::string::npos || !take_key(goal, words.substr(0, equals)))
        return false;
    const size_t from = words.find_first_not_of(' ', equals + 1);
    goal.value = from == std::string::npos ? "" : words.substr(from);
    return true;
}

static bool take_unset(goal &goal, const std::string &words)
{
    const std::string last = "unset";
    const size_t before = words.size() - std::min(words.size(), last.size() + 1);
    return words.ends_with(" " + last) && take_key(goal, words.substr(0, before));
}

static bool is_about_key(const goal &goal, json_object *line)
{
    const std::string what = json_get_text(line, "what");
    if (!is(line, "who", "store") || !is(line, "space", goal.space))
        return false;
    return what == "reset" || ((what == "set" || what == "unset") && is(line, "key", goal.key));
}

static bool is_value(const goal &goal, json_object *line)
{
    return is_about_key(goal, line) && is(line, "what", "set") && is(line, "value", goal.value);
}

static bool is_unset(const goal &goal, json_object *line)
{
    return is_about_key(goal, line) && is(line, "what", "unset");
}

enum class presence { unknown, absent, present };

// Listed, since a refusal to get it does not say whether it is the value that is missing or the store.
static presence look_up(const goal &goal, std::string &value)
{
    const json_ptr list = command_of("store.list");
    json_set_text(list.get(), "space", goal.space);
    const json_ptr answer = ask_quietly(list);
    json_object *keys = nullptr;
    if (!json_object_object_get_ex(json_member(answer, "done"), "keys", &keys))
        return presence::unknown;
    for (size_t i = 0; i < json_object_array_length(keys); i++) {
        json_object *entry = json_object_array_get_idx(keys, i);
        if (!is(entry, "key", goal.key))
            continue;
        value = json_get_text(entry, "value");
        return presence::present;
    }
    return presence::absent;
}

static presence describe_key(const goal &goal, std::string &value, std::string &present)
{
    const presence found = look_up(goal, value);
    const std::string name = goal.space + " " + goal.key;
    if (found == presence::unknown)
        present = "the store does not answer";
    else
        present = found == presence::absent ? name + " is not set" : name + " = " + value;
    return found;
}

static bool look_for_value(const goal &goal, std::string &present)
{
    std::string value;
    return describe_key(goal, value, present) == presence::present && value == goal.value;
}

static bool look_for_unset(const goal &goal, std::string &present)
{
    std::string value;
    return describe_key(goal, value, present) == presence::absent;
}

// The LEDs. goal.key: the state, goal.value: the brightness, if it matters.

static constexpr const char *led_states[] = { "steady", "off", "blink" }; // as the journal numbers them

static bool take_led(goal &goal, const std::string &text)
{
    const std::vector<std::string> words = split(text);
    if (words.size() < 2 || words.size() > 3 || (words[0] != "0" && words[0] != "1"))
        return false;
    if (std::find(std::begin(led_states), std::end(led_states), words[1]) == std::end(led_states))
        return false;
    goal.index = words[0] == "1" ? 1 : 0;
    goal.key = words[1];
    goal.value = words.size() == 3 ? words[2] : "";
    return goal.value.size() <= 3 && goal.value.find_first_not_of("0123456789") == std::string::npos;
}

static bool is_about_led(const goal &goal, json_object *line)
{
    return is(line, "what", "led") && is(line, "index", std::to_string(goal.index));
}

static bool shows(const goal &goal, const std::string &state, json_object *led)
{
    return state == goal.key && (goal.value.empty() || is(led, "brightness", goal.value));
}

static bool is_led(const goal &goal, json_object *line)
{
    const auto mode = static_cast<size_t>(json_get_number(line, "mode", -1));
    return is_about_led(goal, line) && json_get_bool(line, "applied") && mode < std::size(led_states) &&
           shows(goal, led_states[mode], line);
}

static bool look_at_led(const goal &goal, std::string &present)
{
    const json_ptr answer = ask_quietly(command_of("leds"));
    json_object *leds = nullptr;
    present = "the camera does not answer";
    if (!json_object_object_get_ex(json_member(answer, "done"), "leds", &leds))
        return false;
    json_object *led = json_object_array_get_idx(leds, static_cast<size_t>(goal.index));
    const std::string state = json_get_text(led, "state");
    present = "LED " + std::to_string(goal.index) + " is " + state +
              (state == "off" ? "" : ", brightness " + json_get_text(led, "brightness"));
    return shows(goal, state, led);
}

// The head. goal.value: "h,v".

static bool take_position(goal &goal, const std::string &text)
{
    int h = 0;
    int v = 0;
    char rest = 0;
    std::string plain = text;
    std::erase_if(plain, [](char c) { return c == '[' || c == ']' || c == ' '; });
    if (sscanf(plain.c_str(), "%3d,%3d%c", &h, &v, &rest) != 2 || std::min(h, v) < 0 || std::max(h, v) > 100)
        return false;
    goal.value = std::to_string(h) + "," + std::to_string(v);
    return true;
}

static bool is_about_head(const goal &, json_object *line)
{
    return is(line, "what", "motor") || is(line, "what", "head");
}

static bool is_head(const goal &goal, json_object *line)
{
    return is(line, "what", "head") &&
           json_get_text(line, "h") + "," + json_get_text(line, "v") == goal.value;
}

static bool look_at_head(const goal &goal, std::string &present)
{
    const json_ptr answer = ask_quietly(command_of("head"));
    json_object *head = json_member(answer, "done");
    present = "the camera does not answer";
    if (head == nullptr)
        return false;
    const std::string position = json_get_text(head, "h") + "," + json_get_text(head, "v");
    const bool moves = json_get_bool(head, "moves");
    present = "the head is at [" + position + "]" + (moves ? ", on its way" : "");
    return position == goal.value && !moves;
}

// Texts that cross a link or are logged, and prompts.

static bool take_text(goal &goal, const std::string &words)
{
    goal.value = words;
    return !words.empty();
}

static bool is_message(const goal &, json_object *line)
{
    return is(line, "who", "cloud") && is(line, "what", "received");
}

static bool is_log(const goal &, json_object *line)
{
    return is(line, "what", "log");
}

static bool holds_text(const goal &goal, json_object *line)
{
    return json_get_text(line, "text").find(goal.value) != std::string::npos;
}

static bool is_that_message(const goal &goal, json_object *line)
{
    return is_message(goal, line) && holds_text(goal, line);
}

static bool is_that_log(const goal &goal, json_object *line)
{
    return is_log(goal, line) && holds_text(goal, line);
}

static bool is_about_player(const goal &, json_object *line)
{
    return is(line, "who", "player");
}

static bool is_prompt(const goal &goal, json_object *line)
{
    return is(line, "who", "player") && is(line, "what", "played") && is(line, "name", goal.value);
}

static std::string check_prompt(const goal &goal, const place &where)
{
    return prompts_check(where, goal.value);
}

static bool take_members(goal &goal, const std::string &words)
{
    goal.members = split(words);
    return !goal.members.empty() && std::ranges::all_of(goal.members, [](const std::string &member) {
        return member.find('=') != std::string::npos && member[0] != '=';
    });
}

static bool is_any(const goal &, json_object *)
{
    return true;
}

static bool is_line(const goal &goal, json_object *line)
{
    return std::ranges::all_of(goal.members, [&](const std::string &member) {
        const size_t equals = member.find('=');
        return is(line, member.substr(0, equals).c_str(), member.substr(equals + 1));
    });
}

// clang-format off
static constexpr goal_row rows[] = {
    { "store",   "[nvram|mem] KEY = VALUE",             "the store holds that value",                          take_value,    is_about_key,    is_value,        look_for_value },
    { "store",   "[nvram|mem] KEY unset",               "the store holds no value of that key",                take_unset,    is_about_key,    is_unset,        look_for_unset },
    { "led",     "0|1 off|steady|blink [BRIGHTNESS]",   "the LED shows that",                                  take_led,      is_about_led,    is_led,          look_at_led    },
    { "head",    "H,V",                                 "the head rests there, 0 to 100 each",                    take_position, is_about_head,   is_head,         look_at_head   },
    { "message", "TEXT",                                "the daemon sends the cloud a message with that text", take_text,     is_message,      is_that_message, nullptr        },
    { "log",     "TEXT",                                "a program logs a line with that text",                take_text,     is_log,          is_that_log,     nullptr        },
    { "prompt",  "NAME",                                "the player has played that prompt to its end",               take_text,     is_about_player, is_prompt,       nullptr,        check_prompt },
    { "line",    "MEMBER=TEXT...",                      "a line with all these members is in the journal",     take_members,  is_any,          is_line,         nullptr        },
};
// clang-format on

std::span<const goal_row> goal_table()
{
    return rows;
}

static std::string usage(const goal_row &row)
{
    return std::string(row.name) + " " + row.words;
}

// The words of all rows with that name, as a choice.
static std::string usages(const std::string &name)
{
    std::string text;
    for (const goal_row &row : rows) {
        if (name == row.name)
            text += (text.empty() ? "" : " or ") + usage(row);
    }
    return text;
}

static std::string all_names()
{
    std::vector<std::string> names;
    for (const goal_row &row : rows) {
        if (std::ranges::find(names, row.name) == names.end())
            names.emplace_back(row.name);
    }
    return one_of(names);
}

bool goal_parse(const std::string &text, goal &goal, std::string &reason)
{
    const size_t begin = std::min(text.find_first_not_of(' '), text.size());
    const size_t end = std::min(text.find(' ', begin), text.size());
    const std::string name = text.substr(begin, end - begin);
    const size_t from = std::min(text.find_first_not_of(' ', end), text.size());
    goal.text = text.substr(begin);
    for (const goal_row &row : rows) {
        goal.row = &row;
        if (name == row.name && row.take(goal, text.substr(from)))
            return true;
    }
    const std::string ways = usages(name);
    reason = ways.empty() ? "nothing called \"" + name + "\" can be waited for; begin with " + all_names()
                          : "\"" + goal.text + "\" cannot be waited for; write " + ways;
    return false;
}

goal goal_of_line(const std::vector<std::string> &members)
{
    goal goal;
    goal.row = &rows[std::size(rows) - 1];
    goal.members = members;
    goal.text = goal.row->name;
    for (const std::string &member : members)
        goal.text += " " + member;
    return goal;
}

std::string goal_help()
{
    constexpr size_t column = 44;
    std::string text = "What can be waited for:\n";
    for (const goal_row &row : rows) {
        std::string left = usage(row);
        left.resize(std::max(left.size() + 2, column), ' ');
        text += "  " + left + row.help + "\n";
    }
    return text;
}
