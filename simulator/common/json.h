// SPDX-License-Identifier: MIT
// json.h - short ways to what json-c holds. A json_object * is borrowed; a json_ptr owns one reference.
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <memory>
#include <string>

struct json_put {
    void operator()(json_object *object) const
    {
        json_object_put(object);
    }
};
using json_ptr = std::unique_ptr<json_object, json_put>;

// NULL: the text is not one JSON value from end to end (or is "null").
json_ptr json_parse(const std::string &text);

// Compact, slashes and bytes above 127 as they are.
std::string json_text(json_object *value);

// The member as text (a string without its quotes), or what is given when there is none.
std::string json_get_text(json_object *object, const char *key, const std::string &otherwise = "");
int64_t json_get_number(json_object *object, const char *key, int64_t otherwise = 0);
bool json_get_bool(json_object *object, const char *key);

json_object *json_new_text(const std::string &text);
void json_set_text(json_object *object, const char *key, const std::string &text);
void json_set_number(json_object *object, const char *key, int64_t number);

// {"key":"text"}, for a journal line or a command with one member.
json_ptr json_of(const char *key, const std::string &text);
