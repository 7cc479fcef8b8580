// SPDX-License-Identifier: MIT
// printable.h - values may be any bytes, JSON has only characters.
#pragma once

#include <json-c/json.h>

#include <string>

// The text as a JSON string; each byte that belongs to no UTF-8 character stands as U+FFFD.
json_object *printable_json(const std::string &text);
