// SPDX-License-Identifier: MIT
// events.h - what the device kit reports: the reset key, the motor stopping and moving. Called on whatever
// thread the kit chooses, and handled there and then: what it shares with the main thread is atomic.
#pragma once

#include <cstdint>

extern int32_t motor_seq; // 1..99, then 0: counts the calls

// event 1: param is an int *, 1 pressed, 0 released. 2: text "[h,v]". 3: text "[state,h,v]".
void device_event_callback(int event, void *param);
