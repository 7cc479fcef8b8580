// SPDX-License-Identifier: MIT
#include "handlers/leds.h"

#include "core/kit.h"
#include "libcam_warden.h"
#include "libkivo_util.h"

#include <cstddef>

// In the order of torvu_led_control's arguments.
struct led_call {
    int index, brightness, mode, on_ms, off_ms, priority;
};

struct led_pattern {
    led_pattern_name name;
    led_call first, second;
};

// Three patterns for a light that is on differ in brightness and priority on purpose.
// clang-format off
static constexpr led_pattern led_patterns[] = {
    { led_pattern_name::setup_blink,   { 0, 0, 1, 0, 0, 1 },  { 1, 50, 2, 100, 200, 1 }   },
    { led_pattern_name::fast_blink,    { 1, 0, 1, 0, 0, 1 },  { 0, 50, 2, 100, 200, 1 }   },
    { led_pattern_name::slow_blink,    { 1, 0, 1, 0, 0, 1 },  { 0, 50, 2, 200, 800, 1 }   },
    { led_pattern_name::cloud_blink,   { 1, 0, 1, 0, 0, 1 },  { 0, 50, 2, 5000, 1000, 1 } },
    { led_pattern_name::light_on,      { 1, 0, 1, 0, 0, 1 },  { 0, 50, 0, 0, 0, 1 }       },
    { led_pattern_name::light_off,     { 1, 0, 1, 0, 0, 2 },  { 0, 0, 1, 0, 0, 2 }        },
    { led_pattern_name::light_set_on,  { 1, 50, 1, 0, 0, 1 }, { 0, 50, 0, 0, 0, 1 }       },
    { led_pattern_name::light_set_off, { 1, 0, 1, 0, 0, 2 },  { 0, 0, 1, 0, 0, 2 }        },
    { led_pattern_name::light_call_on, { 1, 0, 1, 0, 0, 2 },  { 0, 50, 0, 0, 0, 2 }       },
    { led_pattern_name::bind_timeout,  { 0, 0, 1, 0, 0, 2 },  { 1, 50, 2, 100, 200, 2 }   },
    { led_pattern_name::reboot,        { 0, 50, 1, 0, 0, 2 }, { 1, 50, 0, 0, 0, 2 }       },
};
// clang-format on

static constexpr bool row_i_holds_name_i()
{
    for (size_t i = 0; i < sizeof led_patterns / sizeof led_patterns[0]; i++)
        if (static_cast<size_t>(led_patterns[i].name) != i)
            return false;
    return true;
}
static_assert(row_i_holds_name_i());

static void led_run(const led_call &call)
{
    torvu_led_control(call.index, call.brightness, call.mode, call.on_ms, call.off_ms, call.priority);
}

void leds_show(led_pattern_name name)
{
    const led_pattern &pattern = led_patterns[static_cast<size_t>(name)];
    led_run(pattern.first);
    led_run(pattern.second);
}

void led_final_set(void)
{
    log_debug("led_final_set light: %d\n", kit.light);
    leds_show(kit.light == 1 ? led_pattern_name::light_on : led_pattern_name::light_off);
}
