// SPDX-License-Identifier: MIT
// get_properties.h - answers the cloud's "get_properties". Main thread only.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// kit as it is when the request is handled. The bytes are on when they are not 0.
struct spec_snapshot {
    uint8_t power, flip, wdr, color, watermark, track_switch, light;
    int32_t night, motion_record, card_status;
};

// msg is the whole request; its device id has been checked. One reply, or none when there is no "params".
void nubo_spec_handle_get_properties(const spec_snapshot &snapshot, int32_t id, const json_text &msg);
