// SPDX-License-Identifier: MIT
#include "stage/body.h"

#include <algorithm>
#include <cstdlib>

constexpr int position_last = 100;
constexpr int step_size = 5;
constexpr int travel_h_deg = 360; // what the positions 0..100 stand for
constexpr int travel_v_deg = 180;

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

void body_power_on(body_state &body)
{
    for (led_state &led : body.leds)
        led = {};
    body.led_priority = 0;
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

// False: there is no room on that side.
static bool move_axis(int &position, int delta)
{
    int target = std::clamp(position + delta, 0, position_last);
    bool moves = target != position;
    position = target;
    return moves;
}

// Rounded to the nearest position; a turn is never so small that nothing moves.
static int positions_of(int degrees, int travel_deg)
{
    int bounded = std::min(degrees, travel_deg);
    return std::max((bounded * position_last + travel_deg / 2) / travel_deg, 1);
}

// Reads the mark and the number after it, taken into the range of a position.
static bool take_position(const char *&at, char mark, int &position)
{
    if (*at != mark)
        return false;
    char *end = nullptr;
    long number = std::strtol(at + 1, &end, 10);
    if (end == at + 1)
        return false;
    position = static_cast<int>(std::clamp(number, 0L, static_cast<long>(position_last)));
    at = end;
    return true;
}

static bool go_to_text(body_state &body, const std::string &text)
{
    const char *at = text.c_str();
    int h = 0;
    int v = 0;
    if (!take_position(at, '[', h) || !take_position(at, ',', v))
        return false;
    body.h = h;
    body.v = v;
    return true;
}

enum class motor_kind { step, turn, go, halt };

struct motor_row {
    int operation;
    motor_kind kind;
    int body_state::*axis;
    int direction;
    int travel_deg;
};

// clang-format off
static constexpr motor_row motor_rows[] = {
    { 1,  motor_kind::step, &body_state::h, -1, 0            },
    { 2,  motor_kind::step, &body_state::h, +1, 0            },
    { 3,  motor_kind::step, &body_state::v, +1, 0            },
    { 4,  motor_kind::step, &body_state::v, -1, 0            },
    { 5,  motor_kind::go,   nullptr,        0,  0            },
    { 6,  motor_kind::halt, nullptr,        0,  0            },
    { 7,  motor_kind::turn, &body_state::h, +1, travel_h_deg },
    { 8,  motor_kind::turn, &body_state::h, -1, travel_h_deg },
    { 9,  motor_kind::turn, &body_state::v, +1, travel_v_deg },
    { 10, motor_kind::turn, &body_state::v, -1, travel_v_deg },
    { 11, motor_kind::go,   nullptr,        0,  0            },
    { 12, motor_kind::go,   nullptr,        0,  0            },
};
// clang-format on

static motor_outcome run_row(body_state &body, const motor_row &row, const motor_request &request)
{
    switch (row.kind) {
    case motor_kind::step: {
        bool moves = move_axis(body.*row.axis, row.direction * step_size);
        return { .result = moves ? 0 : -1, .reports = moves, .position = true };
    }
    case motor_kind::turn: {
        if (request.degrees <= 0)
            return {};
        int delta = row.direction * positions_of(request.degrees, row.travel_deg);
        return { .result = move_axis(body.*row.axis, delta) ? 0 : -1 };
    }
    case motor_kind::go: {
        bool goes = go_to_text(body, request.text);
        return { .result = goes ? 0 : -1, .reports = goes };
    }
    case motor_kind::halt:
        return { .result = 0, .reports = true };
    }
    return {};
}

motor_outcome body_motor(body_state &body, const motor_request &request)
{
    for (const motor_row &row : motor_rows) {
        if (row.operation == request.operation)
            return run_row(body, row, request);
    }
    return {};
}

std::string body_position(const body_state &body)
{
    return "[" + std::to_string(body.h) + "," + std::to_string(body.v) + "]";
}
