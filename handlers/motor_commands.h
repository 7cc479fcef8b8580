// SPDX-License-Identifier: MIT
// motor_commands.h - the head as the app moves it, and the guard that tracking asks before it does.
#pragma once

#include "util/json_text.h"

#include <cstdint>

constexpr int motor_centre = 50;        // of both axes
constexpr int motor_position_size = 16; // of a "[h,v]" text for the device kit, with its NUL

// Operations of torvu_motor_control that take such a text.
constexpr int motor_reset = 5;
constexpr int motor_go_to = 11;

// "set_motor". Main thread only. Writes a reply into out (outsize bytes with the NUL) in every case. 0, or -1
// when the request was refused or malformed, or the head is busy or at the end of its travel.
int otd_set_motor_process(const json_text &msg, int32_t id, char *out, int outsize);

// 1 when tracking may move the head now, else 0. Any thread.
int check_track_enable(void);

// Tells the cloud client; what send returned. Main thread only.
int report_track_status(const char *value);
