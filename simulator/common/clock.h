// SPDX-License-Identifier: MIT
// clock.h - the virtual clock of a camera, kept by stage in the shared page. Any thread.
//
// Monotonic time starts near 0 when the camera is started and runs on over a reboot, as fast as stage lets
// it (speed 1 is the host's pace). It never passes a tick that the daemon has not read: it stands still
// there, so a daemon held in a debugger misses nothing. The wall clock is the monotonic one plus an offset
// that settimeofday changes. Without a page both are the system's.
#pragma once

#include <cstdint>

int64_t clock_monotonic_ns();
int64_t clock_realtime_ns(); // since the epoch

// The time of day in the world around the camera, since the epoch: the host's when the camera was started,
// and later as the virtual clock goes on. Nobody sets it.
int64_t clock_world_ns();

// False without a page: the system's wall clock is never changed.
bool clock_set_realtime_ns(int64_t realtime_ns);

// Sleeps until the virtual monotonic clock has reached the moment; wakes when the clock is stepped. The
// second returns false when a signal handler ran before that.
void clock_sleep_until_ns(int64_t monotonic_ns);
bool clock_wait_until_ns(int64_t monotonic_ns);

// As clock_wait_until_ns, for the thread that reads the daemon's ticks: while it sleeps it cannot read one,
// so a tick does not stop the clock before it wakes.
bool clock_wait_as_reader_until_ns(int64_t monotonic_ns);

// How long the host must be waited for that moment at the present speed, in ms rounded up, for poll(2);
// at most 1000, so that a stepped clock is noticed; 0 when it has come.
int clock_host_wait_ms(int64_t monotonic_ns);
