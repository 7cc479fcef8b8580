// SPDX-License-Identifier: MIT
// set_properties.h - carries out the cloud's "set_properties". Main thread only.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// msg is the whole request; its device id has been checked. Every entry is acknowledged with code 0 before
// anything is tried; without "params" and "properties" nothing happens at all. length is not used.
void nubo_spec_handle_set_properties(int32_t id, const json_text &msg, int length);

// Acknowledges one property; what send returned.
int nubo_spec_response(int32_t id, int32_t siid, int32_t piid);

enum spec_rpc_kind { spec_rpc_text = 1, spec_rpc_number = 2 };

// A call of the daemon's own method with one parameter, as if the cloud had made it; what the dispatcher
// returned, -1 before nubo_spec_init. Another kind dispatches an empty text.
int spec_set_rpc(int32_t id, const char *method, const char *parameter, int kind);
