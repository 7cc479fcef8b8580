// SPDX-License-Identifier: MIT
// loud_sound.h - the settings of the loud-sound detection. Main thread only. out holds 1024 bytes.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// "set_lsd_config": writes those of the three settings that the request has. 0, or -1 when it was malformed;
// *reply_flag is then 0, since nothing is to be sent. Another method is accepted and does nothing.
int otd_set_lsd_info(const json_text &msg, int32_t id, char *out, const char *method, int32_t *reply_flag);

// "get_lsd_config": always 0.
int otd_get_lsd_info(int32_t id, char *out);
