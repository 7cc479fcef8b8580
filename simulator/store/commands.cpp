// SPDX-License-Identifier: MIT
#include "store/commands.h"

#include "common/control.h"
#include "store/clients.h"
#include "store/keys.h"
#include "store/printable.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

static const char by[] = "control";

struct key_name {
    std::string space;
    std::string key;
};

// What is wrong, and what to do, for a status that a command can meet.
static std::string sentence(wire_status status, const key_name &name)
{
    switch (status) {
    case wire_status::no_space:
        return "there is no namespace \"" + name.space + "\", take \"nvram\" or \"mem\"";
    case wire_status::bad_key:
        return "a key has 1 to 1024 bytes and no NUL among them";
    case wire_status::bad_value:
        return "a value of type 1 is a text of at most 1048576 bytes, one of type 5 a number from 0 to "
               "18446744073709551615";
    case wire_status::no_value:
        return name.space + " has no value for \"" + name.key + "\"";
    case wire_status::not_written:
        return "the database could not be written, see that its disk has room";
    case wire_status::done:
    case wire_status::no_command:
    case wire_status::too_many:
    case wire_status::not_known:
    case wire_status::timed_out:
        break;
    }
    return "the store cannot do this";
}

static json_object *outcome(wire_status status, const key_name &name)
{
    return status == wire_status::done ? control_done(nullptr) : control_refused(sentence(status, name));
}

static bool take_text(json_object *arguments, const char *name, std::string &text)
{
    json_object *member = nullptr;
    if (!json_object_object_get_ex(arguments, name, &member) ||
        !json_object_is_type(member, json_type_string))
        return false;
    text.assign(json_object_get_string(member), static_cast<size_t>(json_object_get_string_len(member)));
    return true;
}

// The refusal, or NULL when both members are there and name a key.
static json_object *take_name(json_object *arguments, key_name &name)
{
    for (const char *member : { "space", "key" })
        if (!take_text(arguments, member, member[0] == 's' ? name.space : name.key))
            return control_refused(std::string("a \"") + member + "\" is missing, give it as a text");
    const wire_status checked = keys_check(name.space, name.key);
    return checked == wire_status::done ? nullptr : control_refused(sentence(checked, name));
}

static void add_value(json_object *result, const wire_value &value)
{
    json_object_object_add(result, "type", json_object_new_int(static_cast<int>(value.type)));
    json_object_object_add(result, "value", printable_json(value.text));
}

static json_object *get(json_object *arguments)
{
    key_name name;
    if (json_object *refused = take_name(arguments, name))
        return refused;
    const wire_value *value = keys_get(name.space, name.key);
    if (!value)
        return control_refused(sentence(wire_status::no_value, name));
    json_object *result = json_object_new_object();
    add_value(result, *value);
    return control_done(result);
}

// The refusal, or NULL when the arguments hold a value.
static json_object *take_value(json_object *arguments, wire_value &value)
{
    json_object *type = nullptr;
    json_object *number = nullptr;
    value.type = wire_type::text;
    if (json_object_object_get_ex(arguments, "type", &type)) {
        const int given = json_object_is_type(type, json_type_int) ? json_object_get_int(type) : 0;
        if (given != 1 && given != 5)
            return control_refused("\"type\" is 1 for a text or 5 for a number");
        value.type = static_cast<wire_type>(given);
    }
    if (take_text(arguments, "value", value.text))
        return nullptr;
    if (value.type == wire_type::number && json_object_object_get_ex(arguments, "value", &number) &&
        json_object_is_type(number, json_type_int)) {
        value.text = json_object_get_string(number);
        return nullptr;
    }
    return control_refused("a \"value\" is missing, give it as a text, or as a number with \"type\":5");
}

static json_object *set(json_object *arguments)
{
    key_name name;
    wire_value value;
    if (json_object *refused = take_name(arguments, name))
        return refused;
    if (json_object *refused = take_value(arguments, value))
        return refused;
    const wire_status status = keys_set(name.space, name.key, value, by);
    if (status == wire_status::done)
        clients_notify(name.space, name.key);
    return outcome(status, name);
}

static json_object *unset(json_object *arguments)
{
    key_name name;
    if (json_object *refused = take_name(arguments, name))
        return refused;
    const wire_status status = keys_unset(name.space, name.key, by);
    if (status == wire_status::done)
        clients_notify(name.space, name.key);
    return outcome(status, name);
}

static void add_keys(json_object *list, const std::string &space)
{
    for (const auto &[key, value] : *keys_all(space)) {
        json_object *entry = json_object_new_object();
        json_object_object_add(entry, "space", printable_json(space));
        json_object_object_add(entry, "key", printable_json(key));
        add_value(entry, value);
        json_object_array_add(list, entry);
    }
}

static json_object *list(json_object *arguments)
{
    key_name name;
    json_object *member = nullptr;
    const bool asked = json_object_object_get_ex(arguments, "space", &member);
    if (asked && (!take_text(arguments, "space", name.space) || !keys_all(name.space)))
        return control_refused(sentence(wire_status::no_space, name));

    json_object *all = json_object_new_array();
    for (const char *space : { "nvram", "mem" })
        if (!asked || name.space == space)
            add_keys(all, space);
    json_object *result = json_object_new_object();
    json_object_object_add(result, "keys", all);
    return control_done(result);
}

static json_object *reset(json_object *)
{
    const wire_status status = keys_reset("nvram", by);
    if (status == wire_status::done)
        clients_notify_all("nvram");
    return outcome(status, {});
}

struct command_row {
    std::string_view name;
    json_object *(*answer)(json_object *arguments);
};

static constexpr command_row rows[] = {
    { "get", get }, { "set", set }, { "unset", unset }, { "list", list }, { "reset", reset },
};

json_object *commands_answer(const char *command, json_object *arguments)
{
    const auto *row = std::ranges::find(rows, std::string_view(command), &command_row::name);
    if (row != std::ranges::end(rows))
        return row->answer(arguments);
    return control_refused(std::string("there is no command \"store.") + command +
                           "\", take store.get, store.set, store.unset, store.list or store.reset");
}
