// SPDX-License-Identifier: MIT
// otd_route.h - where a whole message from the cloud client goes. Main thread only.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// id: of the message before it in the block, replaced by this one's if it has one. False: the rest of the
// block is to be dropped.
bool otd_route(int sock, const json_text &msg, int length, int32_t *id);
