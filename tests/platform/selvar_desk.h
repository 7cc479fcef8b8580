// SPDX-License-Identifier: MIT
// selvar_desk.h - a client of the store in a story: everything that its callbacks are told is written down.
#pragma once

#include "harness.h"
#include "libselvar.h"
#include "store_process.h"

#include <string>
#include <vector>

// In the order in which it was told, by all handles:
//   "notified power = off"   "notified power has nothing"   "notified power failed"
//   "answered 3: done"       "answered 3: refused"          the number is the message type
//   "got power = off"        "got nothing"                  the reply to a get
//   "timed out power"
// A number stands as "#7".
using lines = std::vector<std::string>;
extern lines told;

void on_notification(selvar_handle *handle, const xresponse *reply);
void on_answer(selvar_handle *handle, const xresponse *reply);
void on_get(selvar_handle *handle, const xresponse *reply);
void on_time_out(selvar_handle *handle, const xresponse *reply);

// Short calls with the callbacks above and without a time-out.
bool client_register(selvar_handle *handle, const char *space, const char *key);
bool client_unregister(selvar_handle *handle, const char *space, const char *key);
bool client_set(selvar_handle *handle, const char *space, const char *key, const char *value);
bool client_set_number(selvar_handle *handle, const char *space, const char *key, uint64_t value);
bool client_unset(selvar_handle *handle, const char *space, const char *key);
bool client_get(selvar_handle *handle, const char *space, const char *key);
bool client_reset(selvar_handle *handle);

// Handles what comes until so many things have been told, then until everything that the service has sent
// so far has been told too. False: the connection is gone, or 20 s are over.
bool client_hear(selvar_handle *handle, size_t count);

// Handles everything that the service has sent to this client so far.
void client_settle(selvar_handle *handle);

bool client_is_readable(selvar_handle *handle); // now
