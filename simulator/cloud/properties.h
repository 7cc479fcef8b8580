// SPDX-License-Identifier: MIT
// properties.h - the camera's numbered properties as its product description tells the cloud of them.
#pragma once

#include "common/json.h"

#include <span>
#include <string>
#include <vector>

enum class property_type { boolean, integer, string, json };

// Whether the daemon reports a change of the key.
enum class property_watch { no, if_bound, yes };

struct property {
    int siid; // service
    int piid; // property within the service
    const char *name;
    property_type type;
    const char *space; // of the store: where the key is that is written and watched; NULL: there is none
    const char *key;
    const char *place; // where the value is read when that is not the key; NULL: it is
    property_watch watched;
    bool settable;
    bool readable;
    bool pulled; // the daemon asks the cloud for it
};

// In the order of their numbers.
std::span<const property> properties_table();

struct property_number {
    int siid;
    int piid;
    bool operator==(const property_number &) const = default;
};

const property *properties_find(property_number number); // NULL: not in the table

// By name or number; a number need not be in the table, row is then NULL. false: reason is one sentence.
bool properties_resolve(const std::string &text, property_number &number, const property *&row,
                        std::string &reason);

std::string property_number_text(property_number number); // "2.1"
std::string property_lives(const property &row);          // "nvram power"
const char *property_type_text(property_type type);
const char *property_watch_text(property_watch watched);

// What a person writes as a value of the row's type. NULL: reason is one sentence.
json_ptr property_value_of(const property &row, const std::string &text, std::string &reason);

bool property_has_type(const property &row, json_object *value);
