// SPDX-License-Identifier: MIT
// service.h - the spec property service: the settings as the cloud's numbered properties (properties.h).
// This is its state and what stands beside the four roads: get_properties, set_properties, changes, pull.
// Main thread only.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// The daemon's own dispatcher, given at initialisation.
typedef int (*spec_dispatch)(const json_text &text, int length, int sock, int origin);

extern char spec_did[20]; // fills up without a NUL when the id is longer: bound every use
extern int32_t spec_sock; // to the cloud client; 0 or below: nothing is sent
extern spec_dispatch spec_rpc_dispatch;

// After every attempt to connect the cloud client and when the device id is learnt. sock as it then stands.
void nubo_spec_init(const char *did, int32_t sock, spec_dispatch dispatch);

// The cloud client's socket is closed: no report may reach a descriptor that is given to another link.
void nubo_spec_socket_closed(void);

// The defaults of the motion settings, into the store. What the last write returned.
int set_default_param_to_spec_service(void);

// No actions are supported: does nothing.
void nubo_spec_handle_action(int32_t id, const char *text, int length);
