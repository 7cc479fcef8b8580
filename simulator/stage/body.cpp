// SPDX-License-Identifier: MIT
#include "stage/body.h"

static bool is_possible(const led_request &request)
{
    return request.index >= 0 && request.index < led_count && request.brightness >= 0 &&
           request.brightness <= 100 && request.mode >= 0 && request.mode <= 2;
}

led_outcome body_led(body_state &body, const led_request &request)
{
    if (!is_possible(request))
        return led_outcome::refused;
    if (request.priority < body.led_priority)
        return led_outcome::without_effect;
    body.led_priority = request.priority;
    body.leds[request.index] = { .brightness = request.brightness,
                                 .mode = static_cast<led_mode>(request.mode),
                                 .on_ms = request.on_ms,
                                 .off_ms = request.off_ms,
                                 .priority = request.priority };
    return led_outcome::applied;
}

void body_power_on(body_state &body, int64_t now_ns)
{
    for (led_state &led : body.leds)
        led = {};
    body.led_priority = 0;
    head_power_off(body.head, now_ns);
}

const char *led_mode_name(led_mode mode)
{
    switch (mode) {
    case led_mode::steady:
        return "steady";
    case led_mode::off:
        return "off";
    case led_mode::blink:
        return "blink";
    }
    return "";
}
