// SPDX-License-Identifier: MIT
#include "ctl/render.h"

#include <cstdio>

// In text {member} stands for the member's text; [..{member}..] is left out when there is no such member.
struct render_row {
    const char *who; // NULL: anybody
    const char *what;
    const char *text;
};

// clang-format off
static constexpr render_row rows[] = {
    { "stage", "start",        "{program} started, pid {pid}" },
    { "stage", "exit",         "{program} ended[ with status {status}][ by signal {signal}][, starts again in {restart_ms} ms]" },
    { "stage", "up",           "the programs are started[, boot {boot}]" },
    { "stage", "reboot",       "the camera reboots" },
    { "stage", "stop",         "the camera stops" },
    { "stage", "key",          "reset key {state}" },
    { "stage", "head",         "the head rests at pan {h}, tilt {v}" },
    { "script", "run",         "{name} was run with {arguments}" },
    { nullptr, "log",          "{level}: {text}" },
    { nullptr, "led",          "LED {index}: brightness {brightness}, mode {mode}, {on_ms}/{off_ms} ms, priority {priority}, applied {applied}" },
    { nullptr, "led_priority", "LED priority is {priority}" },
    { nullptr, "motor",        "motor operation {operation}[ {value}], result {result}" },
    { nullptr, "statistics",   "statistics {name}: {object}" },
    { nullptr, "clock",        "the clock is set to {realtime_ms} ms since 1970" },
    { nullptr, "set",          "{space} {key} = {value}[  (by {by})]" },
    { nullptr, "unset",        "{space} {key} removed[  (by {by})]" },
    { nullptr, "reset",        "{space} is back at the factory defaults[  (by {by})]" },
    { nullptr, "sync",         "{space} is safe on the disk[  (by {by})]" },
    { nullptr, "damaged",      "{text}" },
    { "store", "connected",    "{by} connected" },
    { "store", "left",         "{by} left" },
    { "cloud", "connected",    "the daemon connected" },
    { "cloud", "left",         "the daemon left" },
    { "cloud", "announced",    "the daemon serves {method}" },
    { "cloud", "received",     "<- {text}" },
    { "cloud", "sent",         "-> {text}" },
    { "cloud", "network",      "network {status}" },
    { "cloud", "read",         "{count} properties read, request {id}" },
    { "cloud", "written",      "{count} properties set, request {id}" },
    { "cloud", "reported",     "reported {property}[ {name}] = {value}" },
    { "cloud", "kept",         "kept {property} {name} = {value}" },
    { "cloud", "pulled",       "the daemon pulls, the cloud has {count} of the values and lacks {unknown}" },
    { "cloud", "bound",        "the camera is bound, bound before: {before}" },
    { "player", "connected",   "the daemon connected" },
    { "player", "left",        "the daemon left" },
    { "player", "prompt",      "prompt[ {name}][ of {language}], {bytes} bytes, {lasts_ms} ms" },
    { "player", "cut",         "a prompt broke off, {bytes} bytes of {of}" },
    { "player", "playing",     "begins[ {name}][ of {language}], {lasts_ms} ms, muted {muted}" },
    { "player", "played",      "ends[ {name}][ of {language}], heard {heard_ms} ms of {lasts_ms}" },
    { "player", "banned",      "muted[ in {name}]" },
    { "player", "unbanned",    "speaks again[ in {name}]" },
    { "player", "said",        "-> {name}: {text}" },
};
// clang-format on

// A log line's level as syslog numbers it.
static constexpr const char *levels[] = { "emergency", "alert",  "critical", "error",
                                          "warning",   "notice", "info",     "debug" };

static std::string member_text(json_object *entry, const std::string &key)
{
    const auto number = static_cast<size_t>(json_get_number(entry, key.c_str(), -1));
    if (key == "level" && number < std::size(levels))
        return levels[number];
    return json_get_text(entry, key.c_str(), "-");
}

static bool has(json_object *entry, const std::string &key)
{
    return json_object_object_get_ex(entry, key.c_str(), nullptr) != 0;
}

// Fills in a text without brackets. complete: every member was there.
static std::string fill(const std::string &text, json_object *entry, bool &complete)
{
    std::string filled;
    complete = true;
    for (size_t i = 0; i < text.size(); i++) {
        const size_t end = text[i] == '{' ? text.find('}', i) : std::string::npos;
        if (end == std::string::npos) {
            filled += text[i];
            continue;
        }
        const std::string key = text.substr(i + 1, end - i - 1);
        complete = complete && has(entry, key);
        filled += member_text(entry, key);
        i = end;
    }
    return filled;
}

static std::string fill_with_parts(const std::string &text, json_object *entry)
{
    std::string filled;
    bool complete = true;
    size_t from = 0;
    while (from < text.size()) {
        const size_t open = std::min(text.find('[', from), text.size());
        const size_t close = std::min(text.find(']', open), text.size());
        filled += fill(text.substr(from, open - from), entry, complete);
        const std::string part =
            open < close ? fill(text.substr(open + 1, close - open - 1), entry, complete) : "";
        filled += complete ? part : "";
        from = close + 1;
    }
    return filled;
}

// What has no row of its own: all of its members.
static std::string everything(json_object *entry)
{
    std::string text = json_get_text(entry, "what");
    json_object_object_foreach(entry, key, value)
    {
        const std::string name = key;
        if (name != "n" && name != "ms" && name != "who" && name != "what")
            text += " " + name + "=" + (value == nullptr ? "null" : json_get_text(entry, key));
    }
    return text;
}

// One line on a terminal, whatever a program wrote: trailing line ends go, other control characters are
// shown.
static std::string one_line(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    std::string line;
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= ' ' && c != 127)
            line += c;
        else
            line += c == '\n' ? std::string("\\n") : c == '\t' ? std::string(" ") : std::string("?");
    }
    return line;
}

std::string render_what(json_object *entry)
{
    const std::string who = json_get_text(entry, "who");
    const std::string what = json_get_text(entry, "what");
    for (const render_row &row : rows) {
        if ((row.who == nullptr || who == row.who) && what == row.what)
            return one_line(fill_with_parts(row.text, entry));
    }
    return one_line(everything(entry));
}

std::string render_entry(json_object *entry)
{
    char start[64];
    const int64_t ms = json_get_number(entry, "ms");
    const std::string who = json_get_text(entry, "who").substr(0, 16);
    snprintf(start, sizeof(start), "%8lld.%03lld  %-7s ", static_cast<long long>(ms / 1000),
             static_cast<long long>(ms % 1000), who.c_str());
    return start + render_what(entry);
}
