// SPDX-License-Identifier: MIT
#include "store/keys.h"

#include "common/journal.h"
#include "store/database.h"

static struct {
    key_map defaults;
    key_map nvram;
    key_map mem;
} keys;

void keys_start(key_map defaults, key_map nvram)
{
    keys.defaults = std::move(defaults);
    keys.nvram = std::move(nvram);
    keys.mem.clear();
}

static key_map *space_of(const std::string &space)
{
    if (space == "nvram")
        return &keys.nvram;
    return space == "mem" ? &keys.mem : nullptr;
}

static bool is_kept(const key_map *values)
{
    return values == &keys.nvram;
}

const key_map *keys_all(const std::string &space)
{
    return space_of(space);
}

wire_status keys_check(const std::string &space, const std::string &key)
{
    if (!space_of(space))
        return wire_status::no_space;
    const bool good = !key.empty() && key.size() <= wire_key_max && key.find('\0') == std::string::npos;
    return good ? wire_status::done : wire_status::bad_key;
}

const wire_value *keys_get(const std::string &space, const std::string &key)
{
    const key_map *values = space_of(space);
    if (!values)
        return nullptr;
    const auto found = values->find(key);
    return found == values->end() ? nullptr : &found->second;
}

// How many bytes at the place make one well-formed character; 0: none do.
static size_t character_length(const std::string &text, size_t place)
{
    const auto byte = [&](size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
    const unsigned first = byte(place);
    if (first < 0x80)
        return 1;
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    // The second byte rules out forms that are too long, surrogates, and what lies beyond the last character.
    const unsigned low = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    const unsigned high = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    if (byte(place + 1) < low || byte(place + 1) > high)
        return 0;
    for (size_t i = 2; i < length; ++i)
        if (byte(place + i) < 0x80 || byte(place + i) > 0xbf)
            return 0;
    return length;
}

json_object *keys_json(const std::string &text)
{
    std::string good;
    for (size_t place = 0; place < text.size();) {
        const size_t length = character_length(text, place);
        if (length > 0)
            good.append(text, place, length);
        else
            good += "\xef\xbf\xbd";
        place += length > 0 ? length : 1;
    }
    return json_object_new_string_len(good.data(), static_cast<int>(good.size()));
}

void keys_journal(const char *what, json_object *fields)
{
    journal_write("store", what, fields);
}

static void journal_change(const char *what, const std::string &space, const std::string *key,
                           const wire_value *value, const char *by)
{
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "space", keys_json(space));
    if (key)
        json_object_object_add(fields, "key", keys_json(*key));
    if (value) {
        json_object_object_add(fields, "type", json_object_new_int(static_cast<int>(value->type)));
        json_object_object_add(fields, "value", keys_json(value->text));
    }
    json_object_object_add(fields, "by", keys_json(by));
    keys_journal(what, fields);
}

wire_status keys_set(const std::string &space, const std::string &key, const wire_value &value,
                     const char *by)
{
    const wire_status checked = keys_check(space, key);
    if (checked != wire_status::done)
        return checked;
    if (!wire_value_is_sound(value))
        return wire_status::bad_value;

    key_map *values = space_of(space);
    if (is_kept(values) && !database_set(key, value))
        return wire_status::not_written;
    (*values)[key] = value;
    journal_change("set", space, &key, &value, by);
    return wire_status::done;
}

wire_status keys_unset(const std::string &space, const std::string &key, const char *by)
{
    const wire_status checked = keys_check(space, key);
    if (checked != wire_status::done)
        return checked;

    key_map *values = space_of(space);
    if (is_kept(values) && !database_unset(key))
        return wire_status::not_written;
    values->erase(key);
    journal_change("unset", space, &key, nullptr, by);
    return wire_status::done;
}

wire_status keys_reset(const std::string &space, const char *by)
{
    const key_map *values = space_of(space);
    if (!values)
        return wire_status::no_space;
    if (!is_kept(values))
        return wire_status::no_command;
    if (!database_replace(keys.defaults))
        return wire_status::not_written;
    keys.nvram = keys.defaults;
    journal_change("reset", space, nullptr, nullptr, by);
    return wire_status::done;
}

wire_status keys_sync(const std::string &space, const char *by)
{
    const key_map *values = space_of(space);
    if (!values)
        return wire_status::no_space;
    if (is_kept(values) && !database_sync())
        return wire_status::not_written;
    journal_change("sync", space, nullptr, nullptr, by);
    return wire_status::done;
}
