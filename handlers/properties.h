// SPDX-License-Identifier: MIT
// properties.h - the settings as the app reads and writes them. Main thread only. A setter writes the store;
// the store's notification changes kit and the hardware. msg is the whole request; 0, or -1 when it was
// refused or malformed.
#pragma once

#include "util/json_text.h"

#include <cstdint>

// These write their reply into out (outsize bytes with the NUL).
int otd_send_props(const json_text &msg, int32_t id, char *out, int outsize); // "get_prop"
int night_mode_set(const json_text &msg, int32_t id, char *out, int outsize);
int otd_set_props(const json_text &msg, int32_t id, char *out, int outsize, const char *key);

// The value of one property as text, at most size - 1 characters. -1: no such name (the text is "unknow"), or
// NULL given.
int get_prop_value(const char *name, char *buf, int size);

// These answer for themselves on the cloud client's socket, whatever sock is.
int set_light(int sock, const json_text &msg);
int set_flip(int sock, const json_text &msg);
int set_watermark(int sock, const json_text &msg);
int set_wdr(int sock, const json_text &msg);
int set_full_color(int sock, const json_text &msg);
int otd_power_process(int sock, const json_text &msg);

int set_improve_program(const json_text &msg); // does not answer; always 0

// During a firmware update settings are not changed; logged.
bool refused_by_update(void);

// The early OK, sent only to the cloud client's own requests.
void send_ok_reply(const json_text &msg);

// Tell the cloud client; what send returned.
int report_prop(const char *name, const char *value);
int report_power_status(const char *value);
