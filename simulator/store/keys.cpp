// SPDX-License-Identifier: MIT
#include "store/keys.h"

#include "common/journal.h"
#include "store/database.h"
#include "store/printable.h"

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

void keys_journal(const char *what, json_object *fields)
{
    journal_write("store", what, fields);
}

static void journal_change(const char *what, const std::string &space, const std::string *key,
                           const wire_value *value, const char *by)
{
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "space", printable_json(space));
    if (key)
        json_object_object_add(fields, "key", printable_json(*key));
    if (value) {
        json_object_object_add(fields, "type", json_object_new_int(static_cast<int>(value->type)));
        json_object_object_add(fields, "value", printable_json(value->text));
    }
    json_object_object_add(fields, "by", printable_json(by));
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
