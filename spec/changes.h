// SPDX-License-Identifier: MIT
// changes.h - tells the cloud of a changed store key with "properties_changed". Main thread only.
#pragma once

#include <cstdint>

extern int32_t last_card_status; // as last reported, -1 at first

// Every notification with a value comes here. id goes out as the report's. A value that is not a text may
// only come with a key that no property has.
void nubo_spec_handle_properties_changed(int32_t id, const char *key, const char *value);

enum spec_type { spec_string = 1, spec_integer = 2, spec_boolean = 3 };

// One report; siid and piid in the daemon's numbers. What send returned. Numbers and booleans are what value
// converts to; a string goes out in quotes, not escaped, and with _pair as ready-made JSON. Another type
// sends an empty text.
int spec_selvar_changed(int32_t id, uint32_t siid, uint32_t piid, int type, const char *value);
int spec_selvar_changed_pair(int32_t id, uint32_t siid, uint32_t piid, int type, const char *value);
