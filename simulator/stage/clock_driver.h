// SPDX-License-Identifier: MIT
// clock_driver.h - drives the daemon's timer descriptor from the virtual clock. stage's thread only, with a
// page.
//
// The clock's limit is always the next tick, so time stands still there until the tick was delivered and
// read. A tick is delivered by letting the descriptor expire at once; whether it was read is seen on stage's
// own copy of the descriptor, which is looked at again after 0.1 ms growing to 2 ms, only while a tick is
// unread. A short stand is made up for, so that the clock keeps pace with the host's; a long one, of a daemon
// held in a debugger, is not. Only a daemon that itself sleeps by the clock is let sleep past a tick, as it
// would on a camera: waiting for each other, neither would ever go on.
#pragma once

#include <cstdint>
#include <vector>

struct driven_timer {
    uint64_t owner = 0;      // connection that brought it; the timer goes with it
    int name = -1;           // what the owner calls it
    int fd = -1;             // owned
    int64_t due_ns = 0;      // virtual; of the tick that comes next or is unread
    int64_t interval_ns = 0; // 0: one tick only
    bool unread = false;
};

struct clock_driver {
    std::vector<driven_timer> timers;
    int64_t limit_ns = INT64_MAX; // as last set
    int64_t limit_host_ns = 0;    // host; when the clock reaches the limit if nothing changes its pace
    int64_t step_to_ns = 0;       // where the clock is being stepped to; in the past: nowhere
    int64_t look_pause_ns = 0;    // host time until the next look at an unread tick
};

// The first tick comes first_ms from now, then one every interval_ms (0: no further one); neither is
// negative. Replaces the owner's timer of the same name. Takes timer.fd in any case. False: fd is no timer.
bool clock_driver_add(clock_driver &driver, driven_timer timer, int64_t first_ms, int64_t interval_ms);

void clock_driver_forget(clock_driver &driver, uint64_t owner);

// The first tick at or after the moment of any timer; INT64_MAX: none will come.
int64_t clock_driver_tick_from(const clock_driver &driver, int64_t moment_ns);

// Steps the clock to the moment, one clock_driver_run after the other, so that no tick on the way is lost.
void clock_driver_step(clock_driver &driver, int64_t until_ns);

// Notices what was read, delivers what is due, moves the limit; steps no further than halt_ns this time.
// Returns the host time in ns after which it wants to be called again; -1: not before something changes.
int64_t clock_driver_run(clock_driver &driver, int64_t halt_ns = INT64_MAX);

void clock_driver_close(clock_driver &driver); // closes the descriptors, lifts the limit
