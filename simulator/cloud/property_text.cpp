// SPDX-License-Identifier: MIT
#include "cloud/property_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

static constexpr size_t npos = std::string::npos;
static constexpr char message_start[] = "{\"id\" : ";
static constexpr char entry_start[] = "{\"did\" : \"";
static constexpr char list_end[] = "]}";
static constexpr size_t longest_entry = 999;

struct message_list {
    property_message_kind kind;
    const char *method; // NULL: the message has none
    const char *member; // the list
    const char *start;  // of the list, after the id, as the daemon writes it
};

static constexpr message_list lists[] = {
    { property_message_kind::answer, nullptr, "result", ",\"result\" : [" },
    { property_message_kind::report, "properties_changed", "params",
      ",\"method\" : \"properties_changed\",\"params\" : [" },
};

static bool stands_at(const std::string &text, size_t at, const std::string &what)
{
    return text.compare(at, what.size(), what) == 0;
}

bool property_message_begins(const std::string &text, size_t start)
{
    return stands_at(text, start, message_start);
}

size_t property_message_end(const std::string &text, size_t start)
{
    static constexpr const char *next_starts[] = { "{\"id\"", "{\"method\"", "{ \"id\"" };
    for (size_t at = text.find(list_end, start); at != npos; at = text.find(list_end, at + 1)) {
        const size_t end = at + 2;
        // Within a text of the message it is followed by something else.
        if (end == text.size() || std::any_of(std::begin(next_starts), std::end(next_starts),
                                              [&](const char *next) { return stands_at(text, end, next); }))
            return end;
    }
    return npos;
}

static bool is_object(json_object *value)
{
    return json_object_is_type(value, json_type_object);
}

static bool is_number(json_object *entry, const char *key)
{
    json_object *member = nullptr;
    return json_object_object_get_ex(entry, key, &member) && json_object_is_type(member, json_type_int);
}

static property_entry tidy_entry(json_object *entry)
{
    property_entry read;
    json_object *value = nullptr;
    read.empty = false;
    read.number.siid = static_cast<int>(json_get_number(entry, "siid"));
    read.number.piid = static_cast<int>(json_get_number(entry, "piid"));
    read.code = static_cast<int>(json_get_number(entry, "code"));
    if (json_object_object_get_ex(entry, "value", &value))
        read.value.reset(json_object_get(value));
    return read;
}

static property_message tidy_message(json_object *object)
{
    property_message message;
    message.id = json_get_number(object, "id");
    const std::string method = json_get_text(object, "method");
    for (const message_list &row : lists) {
        json_object *list = nullptr;
        if (method != (row.method == nullptr ? "" : row.method) ||
            !json_object_object_get_ex(object, row.member, &list) ||
            !json_object_is_type(list, json_type_array))
            continue;
        message.kind = row.kind;
        for (size_t i = 0; i < json_object_array_length(list); i++) {
            json_object *entry = json_object_array_get_idx(list, i);
            // Other requests are answered with a list, too.
            if (!is_object(entry) || !is_number(entry, "siid") || !is_number(entry, "piid"))
                return {};
            message.entries.push_back(tidy_entry(entry));
        }
    }
    return message;
}

static int number_after(const std::string &text, const char *what, size_t from = 0)
{
    const size_t at = text.find(what, from);
    return at == npos ? 0 : atoi(text.c_str() + at + std::string(what).size());
}

// The text of the value, without its quotes.
static std::string bare_value(const std::string &entry, size_t code)
{
    static const std::string before = "\"value\" : ";
    const size_t at = entry.find(before);
    if (at == npos)
        return "";
    size_t start = at + before.size();
    size_t end = code != npos ? code : entry.size();
    if (code == npos && end > start && entry[end - 1] == '}')
        end--;
    const bool quoted = stands_at(entry, start, "\"");
    if (quoted)
        start++;
    if (quoted && end > start && entry[end - 1] == '"')
        end--;
    return entry.substr(start, end - start);
}

static property_entry read_entry(const std::string &text)
{
    if (text.empty())
        return {};
    const json_ptr whole = json_parse(text);
    if (is_object(whole.get()))
        return tidy_entry(whole.get());
    property_entry read;
    const size_t code = text.rfind(",\"code\" : ");
    read.empty = false;
    read.tidy = false;
    read.number = { number_after(text, "\"siid\" : "), number_after(text, "\"piid\" : ") };
    if (code != npos)
        read.code = number_after(text, "\"code\" : ", code);
    if (text.find("\"value\" : ") != npos)
        read.value.reset(json_new_text(bare_value(text, code)));
    return read;
}

// Where the entry that begins at start ends: before a comma or at the end of the list.
static size_t entry_end(const std::string &list, size_t start)
{
    if (start >= list.size() || list[start] == ',')
        return start;
    const size_t next = std::min(list.find(std::string(",") + entry_start, start), list.size());
    const size_t code = list.rfind("\"code\" : ", next);
    const size_t close = code == npos || code < start ? npos : list.find('}', code);
    if (close != npos && list.find_first_not_of(',', close + 1) >= next)
        return close + 1;
    return std::min(next, start + longest_entry);
}

static std::vector<property_entry> read_list(const std::string &list)
{
    std::vector<property_entry> entries;
    for (size_t at = 0;;) {
        const size_t end = entry_end(list, at);
        entries.push_back(read_entry(list.substr(at, end - at)));
        if (end >= list.size())
            return entries;
        at = end + 1;
    }
}

static property_message untidy_message(const std::string &text)
{
    property_message message;
    int after_id = 0;
    if (sscanf(text.c_str(), "{\"id\" : %" SCNd64 "%n", &message.id, &after_id) != 1 ||
        !text.ends_with(list_end))
        return message;
    for (const message_list &row : lists) {
        if (!stands_at(text, static_cast<size_t>(after_id), row.start))
            continue;
        const size_t start = static_cast<size_t>(after_id) + std::string(row.start).size();
        const std::string list = text.substr(start, text.size() - start - 2);
        message.kind = row.kind;
        if (row.kind == property_message_kind::answer)
            message.entries = read_list(list);
        else
            message.entries.push_back(read_entry(list));
    }
    return message;
}

property_message property_read(const std::string &text)
{
    const json_ptr object = json_parse(text);
    return is_object(object.get()) ? tidy_message(object.get()) : untidy_message(text);
}
