// SPDX-License-Identifier: MIT
#include "common/json.h"

struct tokener_free {
    void operator()(json_tokener *tokener) const
    {
        json_tokener_free(tokener);
    }
};

json_ptr json_parse(const std::string &text)
{
    const std::unique_ptr<json_tokener, tokener_free> tokener(json_tokener_new());
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT);
    // The NUL at the end of the text tells the tokener that a number is over.
    return json_ptr(json_tokener_parse_ex(tokener.get(), text.c_str(), static_cast<int>(text.size()) + 1));
}

std::string json_text(json_object *value)
{
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

std::string json_get_text(json_object *object, const char *key, const std::string &otherwise)
{
    json_object *member = nullptr;
    if (!json_object_object_get_ex(object, key, &member) || member == nullptr)
        return otherwise;
    if (json_object_is_type(member, json_type_string))
        return { json_object_get_string(member), static_cast<size_t>(json_object_get_string_len(member)) };
    return json_text(member);
}

int64_t json_get_number(json_object *object, const char *key, int64_t otherwise)
{
    json_object *member = nullptr;
    if (!json_object_object_get_ex(object, key, &member) || !json_object_is_type(member, json_type_int))
        return otherwise;
    return json_object_get_int64(member);
}

bool json_get_bool(json_object *object, const char *key)
{
    json_object *member = nullptr;
    return json_object_object_get_ex(object, key, &member) && json_object_get_boolean(member);
}

json_object *json_new_text(const std::string &text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

void json_set_text(json_object *object, const char *key, const std::string &text)
{
    json_object_object_add(object, key, json_new_text(text));
}

void json_set_number(json_object *object, const char *key, int64_t number)
{
    json_object_object_add(object, key, json_object_new_int64(number));
}

json_ptr json_of(const char *key, const std::string &text)
{
    json_ptr object(json_object_new_object());
    json_set_text(object.get(), key, text);
    return object;
}
