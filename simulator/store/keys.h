// SPDX-License-Identifier: MIT
// keys.h - the two namespaces that the store keeps, and the journal of what happens to them.
//
// nvram is written through to the database before a call returns; mem lives as long as the service. Every
// change says by whom it was made. Nobody is notified from here: see clients.h.
#pragma once

#include "store/defaults.h"

#include <json-c/json.h>

#include <string>

// Takes over what was read: defaults are what a reset goes back to, nvram what stands now.
void keys_start(key_map defaults, key_map nvram);

// no_space, bad_key: the pair names nothing that could have a value.
wire_status keys_check(const std::string &space, const std::string &key);

// The value; NULL when there is none. Valid until the next change.
const wire_value *keys_get(const std::string &space, const std::string &key);

// All keys of a namespace, sorted; NULL: there is no such namespace.
const key_map *keys_all(const std::string &space);

wire_status keys_set(const std::string &space, const std::string &key, const wire_value &value,
                     const char *by);
wire_status keys_unset(const std::string &space, const std::string &key, const char *by);
wire_status keys_reset(const std::string &space, const char *by); // nvram only
wire_status keys_sync(const std::string &space, const char *by);

void keys_journal(const char *what, json_object *fields); // takes fields
