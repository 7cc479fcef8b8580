// SPDX-License-Identifier: MIT
// platform.h - what a test turns on the fakes of the utility library and the device kit.
#pragma once

#include <libcam_warden.h>

#include <cstdint>
#include <functional>
#include <string>

struct platform_fakes {
    uint32_t monotonic_s = 1000;                     // the clock stands until a test moves it
    alignas(8) uint64_t realtime_ms = 1700000000000; //
    int next_random_id = 501;                        // counts up with each id
    int rand_range_result = 5000;
    int timer_start_result = 0;
    int camwarden_init_result = 0;
    int motor_result = 0;
    std::string motor_text; // written into the buffer of a step, when not empty
    int motor_running = 0;
    int motor_moves_for = 0; // this many questions are answered with movement, then motor_running counts
    int report_stat_result = 0;
    std::function<void()> on_clock;    // before each reading of time_monotonic
    std::function<void()> on_kit_call; // inside each call of the LEDs and the motor, on the caller's thread

    torvu_event_callback device_event = nullptr; // as given to torvu_camwarden_init
};

extern platform_fakes platform;

void platform_reset();
