// SPDX-License-Identifier: MIT
#include "common/clock_owner.h"

#include "common/clock_state.h"

#include <algorithm>

static constexpr uint32_t largest_speed_part = 1000000;

// The present state, rewritten as one that begins now.
static clock_state state_from_now(run_page *page)
{
    clock_state state = clock_state_take(page);
    state.base_host_ns = state.host_ns;
    state.base_virtual_ns = state.now_ns;
    return state;
}

bool clock_owner_set_speed(clock_speed speed)
{
    if (speed.denominator == 0 || std::max(speed.numerator, speed.denominator) > largest_speed_part)
        return false;
    run_page *page = page_open();
    clock_state state = state_from_now(page);
    state.numerator = speed.numerator;
    state.denominator = speed.denominator;
    clock_state_publish(page, state);
    return true;
}

clock_speed clock_owner_speed(void)
{
    const clock_state state = clock_state_take(page_open());
    return { state.numerator, state.denominator };
}

void clock_owner_set_limit_ns(int64_t limit_ns)
{
    run_page *page = page_open();
    clock_state state = state_from_now(page);
    state.limit_ns = std::max(limit_ns, state.now_ns);
    clock_state_publish(page, state);
}

int64_t clock_owner_limit_ns(void)
{
    return clock_state_take(page_open()).limit_ns;
}

int64_t clock_owner_step_to_ns(int64_t monotonic_ns)
{
    run_page *page = page_open();
    clock_state state = state_from_now(page);
    state.base_virtual_ns = std::max(state.now_ns, std::min(monotonic_ns, state.limit_ns));
    clock_state_publish(page, state);
    return state.base_virtual_ns;
}

void clock_owner_begin_at_ns(int64_t monotonic_ns)
{
    run_page *page = page_open();
    const int64_t ahead_ns = monotonic_ns - clock_state_take(page).now_ns;
    clock_owner_step_to_ns(monotonic_ns);
    page->world_offset_ns -= ahead_ns;
    page->realtime_offset_ns.fetch_sub(ahead_ns, std::memory_order_relaxed);
}

int64_t clock_owner_reader_wakes_ns(void)
{
    return page_open()->reader_wakes_ns.load(std::memory_order_relaxed);
}

void clock_owner_forget_reader(void)
{
    page_open()->reader_wakes_ns.store(0, std::memory_order_relaxed);
}
