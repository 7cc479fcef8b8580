// SPDX-License-Identifier: MIT
#include "cloud/properties.h"

#include "common/nearest.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

using enum property_type;

static constexpr const char *nvram = "nvram";
static constexpr const char *mem = "mem";
static constexpr const char *card = "/mnt/sdcard";
static constexpr property_watch yes = property_watch::yes;
static constexpr property_watch no = property_watch::no;
static constexpr property_watch if_bound = property_watch::if_bound;

// clang-format off
static constexpr property table[] = {
    // number, name                    type     space    key                               read from          watched   settable readable pulled
    {  1,  1, "vendor",                string,  nvram,   "vendor",                         nullptr,           no,       false,   true,    false },
    {  1,  2, "model",                 string,  nvram,   "model",                          nullptr,           no,       false,   true,    false },
    {  1,  3, "device_id",             string,  nvram,   "did",                            nullptr,           no,       false,   true,    false },
    {  1,  4, "firmware_version",      string,  nullptr, nullptr,                          "/etc/os-release", no,       false,   true,    false },
    {  2,  1, "power",                 boolean, nvram,   "power",                          nullptr,           if_bound, true,    true,    false },
    {  2,  2, "flip",                  integer, nvram,   "flip",                           nullptr,           yes,      true,    true,    false },
    {  2,  3, "night_mode",            integer, nvram,   "night_mode",                     nullptr,           yes,      true,    true,    false },
    {  2,  5, "wdr",                   boolean, nvram,   "wdr",                            nullptr,           yes,      true,    true,    false },
    {  2,  6, "full_color",            boolean, nvram,   "full_color",                     nullptr,           yes,      true,    true,    false },
    {  2,  7, "motion_record",         integer, nvram,   "motion_record",                  nullptr,           yes,      true,    true,    false },
    {  2,  8, "track_switch",          boolean, mem,     "track_switch",                   nullptr,           yes,      true,    true,    true  },
    {  2,  9, "watermark",             boolean, nvram,   "watermark",                      nullptr,           yes,      true,    true,    false },
    {  3,  1, "light",                 boolean, nvram,   "light",                          nullptr,           yes,      true,    true,    false },
    {  4,  1, "sdcard_status",         integer, mem,     "sdcard_status",                  nullptr,           yes,      false,   true,    false },
    {  4,  2, "sd_total",              integer, nvram,   "sd_total",                       card,              yes,      false,   true,    false },
    {  4,  3, "sd_free",               integer, nvram,   "sd_free",                        card,              yes,      false,   true,    false },
    {  4,  4, "sd_used",               integer, nvram,   "sd_used",                        card,              yes,      false,   true,    false },
    {  5,  1, "motion_detection",      boolean, nvram,   "motion_detection_enable",        nullptr,           yes,      true,    true,    true  },
    {  5,  2, "alarm_interval",        integer, nvram,   "motion_alarm_interval",          nullptr,           yes,      true,    true,    true  },
    {  5,  3, "motion_region",         integer, nvram,   "motion_region",                  nullptr,           yes,      true,    true,    true  },
    {  5,  4, "detection_start",       string,  mem,     "detection_start",                nullptr,           yes,      true,    true,    true  },
    {  5,  5, "detection_end",         string,  mem,     "detection_end",                  nullptr,           yes,      true,    true,    true  },
    {  7,  1, "human_detection",       boolean, nvram,   "human_detection_enable",         nullptr,           yes,      true,    true,    false },
    {  7,  2, "motion_report_switch",  boolean, nvram,   "report_motion_detection_switch", nullptr,           yes,      true,    true,    false },
    {  7,  3, "loud_detection",        boolean, nvram,   "loud_detection_enable",          nullptr,           yes,      true,    true,    false },
    {  7, 12, "focus_ai_light_switch", boolean, mem,     "focus_ai_light_switch",          nullptr,           no,       false,   false,   false },
    { 10,  1, "focus_area_name",       string,  mem,     "focus_area_name",                nullptr,           no,       true,    true,    false },
    { 10,  2, "focus_area_region",     string,  mem,     "focus_area_region",              nullptr,           no,       true,    true,    false },
    { 10,  3, "focus_time",            string,  mem,     "focus_time",                     nullptr,           no,       true,    true,    false },
    { 10,  4, "focus_clockin",         json,    mem,     "focus_clockin",                  nullptr,           no,       false,   false,   false },
    { 10,  6, "focus_area_in_time",    integer, mem,     "focus_area_in_time",             nullptr,           no,       true,    true,    false },
    { 10,  8, "focus_area_out_time",   integer, mem,     "focus_area_out_time",            nullptr,           no,       true,    true,    false },
    { 10,  9, "focus_scene",           string,  mem,     "focus_scene",                    nullptr,           no,       true,    true,    false },
    { 10, 10, "focus_quick_reply",     string,  mem,     "focus_quick_reply",              nullptr,           no,       true,    false,   false },
    { 10, 11, "human_in_area",         boolean, mem,     "human_in_area_state",            nullptr,           no,       false,   true,    false },
    { 10, 12, "focus_collect_time",    integer, mem,     "focus_collect_time",             nullptr,           no,       true,    true,    false },
    { 11,  1, "sound_alarm_name",      string,  nvram,   "sound_alarm_name",               nullptr,           no,       true,    true,    false },
    { 11,  2, "sound_alarm_type",      string,  nvram,   "sound_alarm_type",               nullptr,           no,       true,    true,    false },
    { 11,  3, "sound_alarm_enable",    boolean, nvram,   "sound_alarm_enable",             nullptr,           no,       true,    true,    false },
};
// clang-format on

std::span<const property> properties_table()
{
    return table;
}

const property *properties_find(property_number number)
{
    for (const property &row : table) {
        if (row.siid == number.siid && row.piid == number.piid)
            return &row;
    }
    return nullptr;
}

std::string property_number_text(property_number number)
{
    return std::to_string(number.siid) + "." + std::to_string(number.piid);
}

// "2.1", and nothing before or after it.
static bool read_number(const std::string &text, property_number &number)
{
    int end = 0;
    return text.size() <= 20 && sscanf(text.c_str(), "%9d.%9d%n", &number.siid, &number.piid, &end) == 2 &&
           static_cast<size_t>(end) == text.size() && property_number_text(number) == text;
}

bool properties_resolve(const std::string &text, property_number &number, const property *&row,
                        std::string &reason)
{
    if (read_number(text, number)) {
        row = properties_find(number);
        return true;
    }
    std::vector<std::string> names;
    for (const property &candidate : table) {
        names.emplace_back(candidate.name);
        if (text == candidate.name) {
            row = &candidate;
            number = { row->siid, row->piid };
            return true;
        }
    }
    const std::string guess = did_you_mean(text, names);
    reason = "there is no property \"" + text + "\"" +
             (guess.empty() ? "; ./camera prop list shows their names and numbers" : guess);
    return false;
}

std::string property_lives(const property &row)
{
    return row.place != nullptr ? row.place : std::string(row.space) + " " + row.key;
}

const char *property_type_text(property_type type)
{
    switch (type) {
    case boolean:
        return "bool";
    case integer:
        return "int";
    case string:
        return "string";
    case json:
        return "JSON";
    }
    return "";
}

const char *property_watch_text(property_watch watched)
{
    switch (watched) {
    case no:
        return "no";
    case if_bound:
        return "if bound";
    case yes:
        return "yes";
    }
    return "";
}

static bool read_bool(const std::string &text, bool &value)
{
    value = text == "true" || text == "on";
    return value || text == "false" || text == "off";
}

static bool read_int(const std::string &text, int &value)
{
    char *end = nullptr;
    errno = 0;
    const long number = strtol(text.c_str(), &end, 10);
    value = static_cast<int>(number);
    const bool digits = !text.empty() && (text[0] == '-' || (text[0] >= '0' && text[0] <= '9'));
    return digits && end == text.c_str() + text.size() && errno == 0 && number >= INT_MIN &&
           number <= INT_MAX;
}

json_ptr property_value_of(const property &row, const std::string &text, std::string &reason)
{
    bool flag = false;
    int number = 0;
    switch (row.type) {
    case boolean:
        if (read_bool(text, flag))
            return json_ptr(json_object_new_boolean(flag));
        reason = std::string(row.name) + " is true or false (on or off), not \"" + text + "\"";
        return nullptr;
    case integer:
        if (read_int(text, number))
            return json_ptr(json_object_new_int(number));
        reason = std::string(row.name) + " is a number of 32 bits, not \"" + text + "\"";
        return nullptr;
    case string:
        return json_ptr(json_new_text(text));
    case json:
        break;
    }
    reason = std::string(row.name) + " cannot be written as a value";
    return nullptr;
}

bool property_has_type(const property &row, json_object *value)
{
    switch (row.type) {
    case boolean:
        return json_object_is_type(value, json_type_boolean);
    case integer:
        return json_object_is_type(value, json_type_int);
    case string:
        return json_object_is_type(value, json_type_string);
    case json:
        return value != nullptr;
    }
    return false;
}
