// SPDX-License-Identifier: MIT
#include "cloud/property_check.h"

#include <algorithm>
#include <initializer_list>

static bool holds_none_of(const property_facts &facts, std::initializer_list<const char *> usual)
{
    return facts.stored &&
           std::none_of(usual.begin(), usual.end(), [&](const char *text) { return *facts.stored == text; });
}

static bool always(const property_facts &)
{
    return true;
}

static bool neither_on_nor_off(const property_facts &facts)
{
    return holds_none_of(facts, { "on", "off" });
}

static bool no_night_mode(const property_facts &facts)
{
    return holds_none_of(facts, { "0", "1", "2" });
}

static bool no_record_mode(const property_facts &facts)
{
    return holds_none_of(facts, { "off", "on", "stop" });
}

static bool braces_for_nothing(const property_facts &facts)
{
    return !facts.stored && json_text(facts.copy->read.value.get()) == "{}";
}

enum class odd { report, answer };

struct known_difference {
    property_number number;
    odd what;                                      // the report, or already the answer to a read
    bool (*explains)(const property_facts &facts); // these
    const char *reason;
};

static constexpr char title[] = "the report counts the title of a df column, a read asks the file system";
static constexpr char half_on[] = "a text that is neither on nor off is reported as false and read as true";
static constexpr char reports_only[] =
    "it is for reports only, and its key is not watched; a read answers -4003";

// clang-format off
static constexpr known_difference known[] = {
    { {  2,  1 }, odd::report, neither_on_nor_off, half_on },
    { {  2,  3 }, odd::report, no_night_mode,      "a value other than 0, 1 and 2 is reported as 0 and read as its number" },
    { {  2,  7 }, odd::report, no_record_mode,     "a text other than off, on and stop is not reported" },
    { {  3,  1 }, odd::report, neither_on_nor_off, half_on },
    { {  4,  2 }, odd::report, always,             title },
    { {  4,  3 }, odd::report, always,             title },
    { {  4,  4 }, odd::report, always,             title },
    { {  7, 12 }, odd::report, always,             reports_only },
    { { 10,  2 }, odd::answer, braces_for_nothing, "not reported: its key is not watched; without a value a read answers {}" },
    { { 10,  4 }, odd::report, always,             reports_only },
    { { 10, 10 }, odd::report, always,             "it can be written only; a read answers -4003" },
    { { 10, 11 }, odd::report, always,             "its key is not watched; a report of it would carry the number 0.0" },
};
// clang-format on

// The reason of a difference that is by design; NULL: there is none.
static const char *reason_for(const property &row, odd what, const property_facts &facts)
{
    for (const known_difference &difference : known) {
        if (difference.number == property_number{ row.siid, row.piid } && difference.what == what &&
            difference.explains(facts))
            return difference.reason;
    }
    return nullptr;
}

static std::string shown(const json_ptr &value)
{
    return value ? json_text(value.get()) : "nothing";
}

// What is wrong with the answer to the read; empty: nothing.
static std::string read_trouble(const property &row, const property_facts &facts)
{
    constexpr int no_such_property = -4003;
    const property_entry &read = facts.copy->read;
    if (!facts.copy->was_read)
        return "it was not read";
    if (!row.readable)
        return read.code == no_such_property
                   ? ""
                   : "a read answers " + shown(read.value) + ", and it cannot be read";
    if (read.code != 0)
        return "a read answers code " + std::to_string(read.code);
    if (!read.value)
        return facts.stored ? "a read answers nothing" : "";
    if (read.tidy && !property_has_type(row, read.value.get()))
        return "a read answers " + shown(read.value) + ", which is no " + property_type_text(row.type);
    return "";
}

// Nothing reports it, and nothing has.
static property_finding unwatched(const property &row, const property_facts &facts)
{
    if (facts.copy->reported)
        return { property_verdict::differs,
                 "reported " + shown(facts.copy->reported) + " although its key is not watched" };
    const char *reason = reason_for(row, odd::report, facts);
    if (reason != nullptr)
        return { property_verdict::by_design, reason };
    return { property_verdict::by_design, row.watched == property_watch::if_bound
                                              ? "not reported: its key is watched on a bound camera only"
                                              : "not reported: its key is not watched" };
}

property_finding property_compare(const property &row, const property_facts &facts)
{
    const property_copy &copy = *facts.copy;
    const std::string trouble = read_trouble(row, facts);
    const char *reason = reason_for(row, trouble.empty() ? odd::report : odd::answer, facts);
    if (!trouble.empty() && reason != nullptr)
        return { property_verdict::by_design, reason };
    if (!trouble.empty())
        return { property_verdict::differs, trouble };
    if (!facts.watched)
        return unwatched(row, facts);
    if (copy.reported && json_object_equal(copy.reported.get(), copy.read.value.get()) != 0)
        return { property_verdict::same, "" };
    if (!copy.reported && !facts.stored)
        return { property_verdict::not_stored,
                 "its key has no value; a read answers " + shown(copy.read.value) };
    if (reason != nullptr)
        return { property_verdict::by_design, reason };
    if (!copy.reported)
        return { property_verdict::differs, "its value was written again, and no report came" };
    return { property_verdict::differs,
             "reported " + shown(copy.reported) + ", read " + shown(copy.read.value) };
}

json_ptr property_differences(void)
{
    json_ptr list(json_object_new_array());
    for (const known_difference &difference : known) {
        json_ptr named = property_named(difference.number, nullptr);
        json_set_text(named.get(), "reason", difference.reason);
        json_object_array_add(list.get(), named.release());
    }
    return list;
}

const char *property_verdict_text(property_verdict verdict)
{
    switch (verdict) {
    case property_verdict::same:
        return "same";
    case property_verdict::by_design:
        return "by design";
    case property_verdict::not_stored:
        return "not stored";
    case property_verdict::differs:
        return "differs";
    }
    return "";
}
