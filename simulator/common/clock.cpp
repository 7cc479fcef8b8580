// SPDX-License-Identifier: MIT
#include "common/clock.h"

#include "common/clock_state.h"
#include "common/host_time.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

// The call that takes the timespec of this build.
#ifdef SYS_futex_time64
static constexpr long futex_call = SYS_futex_time64;
#else
static constexpr long futex_call = SYS_futex;
#endif

static constexpr int64_t ns_per_s = 1000000000;
static constexpr int64_t ns_per_ms = 1000000;
static constexpr int64_t longest_wait_ns = 3600 * ns_per_s;
static constexpr int64_t longest_poll_ms = 1000;

static timespec to_timespec(int64_t ns)
{
    return { .tv_sec = static_cast<time_t>(ns / ns_per_s), .tv_nsec = static_cast<long>(ns % ns_per_s) };
}

int64_t clock_monotonic_ns()
{
    run_page *page = page_open();
    return page == nullptr ? host_time_ns(CLOCK_MONOTONIC) : clock_state_take(page).now_ns;
}

int64_t clock_realtime_ns()
{
    run_page *page = page_open();
    if (page == nullptr)
        return host_time_ns(CLOCK_REALTIME);
    return clock_state_take(page).now_ns + page->realtime_offset_ns.load(std::memory_order_relaxed);
}

int64_t clock_world_ns()
{
    run_page *page = page_open();
    if (page == nullptr)
        return host_time_ns(CLOCK_REALTIME);
    return clock_state_take(page).now_ns + page->world_offset_ns;
}

bool clock_set_realtime_ns(int64_t realtime_ns)
{
    run_page *page = page_open();
    if (page == nullptr)
        return false;
    page->realtime_offset_ns.store(realtime_ns - clock_state_take(page).now_ns, std::memory_order_relaxed);
    return true;
}

// The host time that is left until the moment comes, at most longest_wait_ns; 0 when it has come.
static int64_t host_wait_ns(const clock_state &state, int64_t moment_ns)
{
    if (state.now_ns >= moment_ns)
        return 0;
    if (state.numerator == 0 || moment_ns > state.limit_ns)
        return longest_wait_ns; // the clock stands still before it; a change will wake the waiter
    const int64_t ahead = moment_ns - state.base_virtual_ns;
    const int64_t rest =
        (ahead % state.numerator * state.denominator + state.numerator - 1) / state.numerator;
    int64_t host = 0;
    if (__builtin_mul_overflow(ahead / state.numerator, state.denominator, &host) ||
        __builtin_add_overflow(host, rest, &host) ||
        __builtin_add_overflow(host, state.base_host_ns - state.host_ns, &host))
        return longest_wait_ns;
    return std::clamp(host, INT64_C(1), longest_wait_ns);
}

// The system's clock; false when a signal handler ran.
static bool wait_without_page(int64_t moment_ns)
{
    const timespec until = to_timespec(moment_ns);
    return moment_ns <= 0 || clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == 0;
}

bool clock_wait_until_ns(int64_t monotonic_ns)
{
    run_page *page = page_open();
    if (page == nullptr)
        return wait_without_page(monotonic_ns);
    for (;;) {
        const clock_state state = clock_state_take(page);
        const int64_t wait = host_wait_ns(state, monotonic_ns);
        if (wait == 0)
            return true;
        // Always with a time-out: without one the kernel would go on waiting after some signal handlers.
        const timespec until = to_timespec(state.host_ns + wait);
        if (syscall(futex_call, &page->clock_changes, FUTEX_WAIT_BITSET, state.changes, &until, nullptr,
                    FUTEX_BITSET_MATCH_ANY) != 0 &&
            errno == EINTR)
            return false;
    }
}

bool clock_wait_as_reader_until_ns(int64_t monotonic_ns)
{
    run_page *page = page_open();
    if (page != nullptr)
        page->reader_wakes_ns.store(monotonic_ns, std::memory_order_relaxed);
    const bool over = clock_wait_until_ns(monotonic_ns);
    if (page != nullptr)
        page->reader_wakes_ns.store(0, std::memory_order_relaxed);
    return over;
}

void clock_sleep_until_ns(int64_t monotonic_ns)
{
    while (!clock_wait_until_ns(monotonic_ns)) {
    }
}

static int64_t wait_ns(int64_t moment_ns)
{
    run_page *page = page_open();
    if (page != nullptr)
        return host_wait_ns(clock_state_take(page), moment_ns);
    return std::clamp(moment_ns - host_time_ns(CLOCK_MONOTONIC), INT64_C(0), longest_wait_ns);
}

int clock_host_wait_ms(int64_t monotonic_ns)
{
    const int64_t ms = (wait_ns(monotonic_ns) + ns_per_ms - 1) / ns_per_ms;
    return static_cast<int>(std::min(ms, longest_poll_ms));
}
