// SPDX-License-Identifier: MIT
// host_time.h - the host's own clock. For the virtual clock itself and for giving up on a peer that does not
// answer; everything else goes by clock.h.
#pragma once

#include <cstdint>
#include <ctime>

inline int64_t host_time_ns(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

inline int64_t host_time_ms()
{
    return host_time_ns(CLOCK_MONOTONIC) / 1000000;
}
