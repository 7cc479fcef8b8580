// SPDX-License-Identifier: MIT
// status.h - what the cloud client tells: network status, binding, time, device id. Main thread only. None of
// these answers on the wire. Each takes the whole request; 0 when it was handled, -1 when it was malformed.
#pragma once

#include "util/json_text.h"

int local_handler_status(const json_text &msg);
int local_handler_bind(const json_text &msg);
int local_handler_time(const json_text &msg);
int local_handler_query_did(
    const json_text &msg); // the length of the id's text, or an id that is not above 0
int app_feedback_device_rpc_parse(const json_text &msg);

// Asks the cloud client for the device id.
void otd_query_did(void);
