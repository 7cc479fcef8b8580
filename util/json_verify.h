// SPDX-License-Identifier: MIT
// json_verify.h - questions about one top-level member of a JSON text. Any thread; nothing is kept.
//
// Each returns 0 on success and -1 on failure, and leaves its output alone on failure. A text that does not
// parse is logged; a missing member and one of another type are not.
#pragma once

#include "util/json_text.h"

#include <cstdint>

int json_verify(const json_text &msg);                         // is it JSON
int json_verify_method(const json_text &msg, const char *key); // is the member there, null included

// Has the member exactly this type and this value: const int32_t * for json_type_int, const char * for
// json_type_string. Any other type fails.
int json_verify_method_value(const json_text &msg, const char *key, const void *value, json_type type);

int json_verify_get_int(const json_text &msg, const char *key, int32_t *value);
int json_verify_get_boolean(const json_text &msg, const char *key, int32_t *value);

// For a request that must have params, null included. Logs a missing one too, under the name of the function
// that asks; borrowed from msg.
int json_verify_params(const json_text &msg, const char *function, json_object **params);

// Both fill the first size - 1 bytes, padded with NUL, and never write the last one: zero the buffer first.
// get_array joins the texts of all elements; an empty array leaves the buffer alone.
int json_verify_get_string(const json_text &msg, const char *key, char *buffer, int size);
int json_verify_get_array(const json_text &msg, const char *key, char *buffer, int size);
