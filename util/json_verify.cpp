// SPDX-License-Identifier: MIT
#include "util/json_verify.h"

#include "libkivo_util.h"

#include <cstring>

// False, with the log line that names the asking function, when msg is not JSON.
static bool is_json(const json_text &msg, const char *function)
{
    if (msg.object)
        return true;
    if (msg.text)
        log_err("%s: Not in json format: %s\n", function, msg.text);
    return false;
}

static bool find(const json_text &msg, const char *function, const char *key, json_object **member)
{
    return is_json(msg, function) && json_object_object_get_ex(msg.object, key, member);
}

static bool find_typed(const json_text &msg, const char *function, const char *key, json_type type,
                       json_object **member)
{
    return find(msg, function, key, member) && json_object_is_type(*member, type);
}

int json_verify(const json_text &msg)
{
    return is_json(msg, __func__) ? 0 : -1;
}

int json_verify_method(const json_text &msg, const char *key)
{
    json_object *member = nullptr;
    return find(msg, __func__, key, &member) ? 0 : -1;
}

int json_verify_method_value(const json_text &msg, const char *key, const void *value, json_type type)
{
    json_object *member = nullptr;
    if (!find_typed(msg, __func__, key, type, &member))
        return -1;
    if (type == json_type_int)
        return json_object_get_int(member) == *static_cast<const int32_t *>(value) ? 0 : -1;
    if (type != json_type_string)
        return -1;

    const char *expected = static_cast<const char *>(value);
    size_t length = strlen(expected);
    if (static_cast<size_t>(json_object_get_string_len(member)) != length)
        return -1;
    return memcmp(json_object_get_string(member), expected, length) == 0 ? 0 : -1;
}

int json_verify_get_int(const json_text &msg, const char *key, int32_t *value)
{
    json_object *member = nullptr;
    if (!find_typed(msg, __func__, key, json_type_int, &member))
        return -1;
    *value = json_object_get_int(member);
    return 0;
}

int json_verify_get_boolean(const json_text &msg, const char *key, int32_t *value)
{
    json_object *member = nullptr;
    if (!find_typed(msg, __func__, key, json_type_boolean, &member))
        return -1;
    *value = json_object_get_boolean(member);
    return 0;
}

int json_verify_get_string(const json_text &msg, const char *key, char *buffer, int size)
{
    json_object *member = nullptr;
    if (!find_typed(msg, __func__, key, json_type_string, &member))
        return -1;
    if (size > 1)
        strncpy(buffer, json_object_get_string(member), static_cast<size_t>(size) - 1);
    return 0;
}

int json_verify_get_array(const json_text &msg, const char *key, char *buffer, int size)
{
    json_object *member = nullptr;
    if (!find_typed(msg, __func__, key, json_type_array, &member))
        return -1;

    size_t room = size > 1 ? static_cast<size_t>(size) - 1 : 0;
    size_t offset = 0;
    size_t count = json_object_array_length(member);
    for (size_t i = 0; i < count && offset < room; i++) {
        const char *text = json_object_get_string(json_object_array_get_idx(member, i));
        if (!text)
            continue;
        strncpy(buffer + offset, text, room - offset);
        offset += strlen(text);
    }
    return 0;
}

int json_verify_params(const json_text &msg, const char *function, json_object **params)
{
    if (!is_json(msg, function))
        return -1;
    if (json_object_object_get_ex(msg.object, "params", params))
        return 0;
    log_err("%s: set_props error\n", function);
    return -1;
}
