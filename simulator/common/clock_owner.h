// SPDX-License-Identifier: MIT
// clock_owner.h - stage's side of the virtual clock, see clock.h. One thread of stage only, after
// page_create.
//
// Every change takes effect at the present moment, so time neither jumps nor runs back, also when the clock
// stood still at its limit until now; and it wakes everybody who sleeps.
#pragma once

#include <cstdint>

struct clock_speed {
    uint32_t numerator;
    uint32_t denominator;
};

// Speed numerator/denominator, each at most 1000000; 0/1 stands still. False: not such a speed, nothing
// changed.
bool clock_owner_set_speed(clock_speed speed);
clock_speed clock_owner_speed(void);

// The clock stands still there; INT64_MAX for no limit. A limit that has passed stops it at once.
void clock_owner_set_limit_ns(int64_t limit_ns);
int64_t clock_owner_limit_ns(void);

// Jumps ahead to the moment, at most to the limit; never back. Returns where the clock stands then.
int64_t clock_owner_step_to_ns(int64_t monotonic_ns);

// The camera has been on for so long already, and the times of day stay as they are. To be called before
// anybody looks at the clock.
void clock_owner_begin_at_ns(int64_t monotonic_ns);

// Until when the thread that reads the ticks sleeps by the clock; 0: it is awake. The second when it is no
// more.
int64_t clock_owner_reader_wakes_ns(void);
void clock_owner_forget_reader(void);
