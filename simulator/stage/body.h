// SPDX-License-Identifier: MIT
// body.h - the camera's body as its device kit sees it: two LEDs, and the head of head.h. Plain state and
// rules, no input or output. stage's thread only.
//
// LEDs: there is one priority in force for both. A request below it is without effect; another is applied and
// its priority becomes the one in force. So after "off" at priority 2, status patterns at priority 1 do
// not show until the priority is set to 1.
#pragma once

#include "stage/head.h"

#include <cstdint>

enum class led_mode { steady, off, blink };

struct led_state {
    int brightness = 0; // 0..100
    led_mode mode = led_mode::off;
    int on_ms = 0; // lit and dark times, used by blink alone
    int off_ms = 0;
    int priority = 0; // of the request that set it
};

constexpr int led_count = 2;

struct body_state {
    led_state leds[led_count];
    int led_priority = 0; // in force
    head_state head;
};

enum class led_outcome { refused, without_effect, applied };

struct led_request {
    int index = 0;
    int brightness = 0;
    int mode = 0; // as the kit numbers it: 0 steady, 1 off, 2 blink
    int on_ms = 0;
    int off_ms = 0;
    int priority = 0;
};

// refused: an argument is out of range.
led_outcome body_led(body_state &body, const led_request &request);

// What a reboot does: both LEDs dark, nothing in force; the head halts and stays where it is.
void body_power_on(body_state &body, int64_t now_ns);

const char *led_mode_name(led_mode mode);
