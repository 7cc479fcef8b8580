// SPDX-License-Identifier: MIT
// clock_state.h - reading and publishing a state of the clock, for clock.cpp and clock_owner.cpp only.
#pragma once

#include "common/page.h"

struct clock_state {
    uint32_t changes; // as counted when the state was taken
    int64_t base_host_ns;
    int64_t base_virtual_ns;
    int64_t limit_ns;
    uint32_t numerator;
    uint32_t denominator;
    int64_t host_ns; // when it was taken
    int64_t now_ns;  // virtual time at that moment; never before what anybody was told
};

clock_state clock_state_take(run_page *page);

// Publishes state as the next one and wakes who sleeps; ignores changes, host_ns and now_ns.
void clock_state_publish(run_page *page, const clock_state &state);
