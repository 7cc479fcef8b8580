// SPDX-License-Identifier: MIT
// pull.h - fetches what the cloud holds for the properties of sync_spec and writes it into the store. Main
// thread only.
#pragma once

#include <json-c/json.h>

#include <cstdint>

// The id of the pull that waits for its answer, -1: none. Whoever reads the answer sets it to -1.
extern int32_t g_get_spec_id;

int get_param_from_spec_service(int32_t id); // sends the pull; what send returned

// properties: the array of the answer, the caller's. What is no array has no elements.
void get_param_from_spec_service_parse(json_object *properties);
