// SPDX-License-Identifier: MIT
// leds.h - the named patterns of the two status LEDs, two calls of the device kit each. Main thread only.
#pragma once

enum class led_pattern_name {
    setup_blink,
    fast_blink,
    slow_blink,
    cloud_blink,
    light_on,     // by the network status
    light_off,    // by the network status and by "set_light"
    light_set_on, // when the stored setting is applied
    light_set_off,
    light_call_on, // by "set_light"
    bind_timeout,  // nobody has bound the camera in time
    reboot,        // on its way down
};

void leds_show(led_pattern_name name);

// Light on or light off, as the setting is.
void led_final_set(void);
