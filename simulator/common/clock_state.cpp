// SPDX-License-Identifier: MIT
#include "common/clock_state.h"

#include "common/host_time.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

// Loads acquire and stores release field by field: who has read one field of a newer state also sees the
// newer count, and takes the state again.
static void load_slot(const clock_slot &slot, clock_state &state)
{
    state.base_host_ns = slot.base_host_ns.load(std::memory_order_acquire);
    state.base_virtual_ns = slot.base_virtual_ns.load(std::memory_order_acquire);
    state.limit_ns = slot.limit_ns.load(std::memory_order_acquire);
    state.numerator = slot.numerator.load(std::memory_order_acquire);
    state.denominator = slot.denominator.load(std::memory_order_acquire);
}

static void store_slot(clock_slot &slot, const clock_state &state)
{
    slot.base_host_ns.store(state.base_host_ns, std::memory_order_release);
    slot.base_virtual_ns.store(state.base_virtual_ns, std::memory_order_release);
    slot.limit_ns.store(state.limit_ns, std::memory_order_release);
    slot.numerator.store(state.numerator, std::memory_order_release);
    slot.denominator.store(state.denominator, std::memory_order_release);
}

static int64_t virtual_ns(const clock_state &state)
{
    const int64_t elapsed = state.host_ns - state.base_host_ns;
    int64_t now = 0;
    // In two parts, so that only a result beyond 292 years can overflow.
    const int64_t rest = elapsed % state.denominator * state.numerator / state.denominator;
    if (__builtin_mul_overflow(elapsed / state.denominator, state.numerator, &now) ||
        __builtin_add_overflow(now, rest, &now) || __builtin_add_overflow(now, state.base_virtual_ns, &now))
        now = INT64_MAX;
    return std::min(now, state.limit_ns);
}

// stage reads the host's clock a little before it publishes; what somebody was told in between stays true.
static int64_t tell(run_page *page, int64_t now)
{
    int64_t newest = page->newest_ns.load(std::memory_order_relaxed);
    while (newest < now && !page->newest_ns.compare_exchange_weak(newest, now, std::memory_order_relaxed)) {
    }
    return std::max(newest, now);
}

clock_state clock_state_take(run_page *page)
{
    clock_state state = {};
    do {
        state.changes = page->clock_changes.load(std::memory_order_acquire);
        load_slot(page->slots[state.changes % 2], state);
        state.host_ns = host_time_ns(CLOCK_MONOTONIC);
    } while (page->clock_changes.load(std::memory_order_acquire) != state.changes);
    state.now_ns = tell(page, virtual_ns(state));
    return state;
}

void clock_state_publish(run_page *page, const clock_state &state)
{
    const uint32_t next = page->clock_changes.load(std::memory_order_relaxed) + 1;
    store_slot(page->slots[next % 2], state);
    page->clock_changes.store(next, std::memory_order_release);
    syscall(SYS_futex, &page->clock_changes, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}
