// SPDX-License-Identifier: MIT
#include "stage/clock_driver.h"

#include "common/clock.h"
#include "common/clock_owner.h"
#include "common/host_time.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>

constexpr int64_t ns_per_ms = 1'000'000;
constexpr int64_t first_look_ns = 100'000;
constexpr int64_t longest_look_ns = 2 * ns_per_ms;
constexpr int64_t longest_made_up_ns = 200 * ns_per_ms;

// A delivered timer is given a second expiry so far away that it never comes: the time left until then tells
// that the first one has happened, which cannot be seen otherwise once the tick was read.
constexpr time_t never_s = 10L * 365 * 24 * 3600;

static void deliver(int fd)
{
    itimerspec at_once = {};
    at_once.it_value.tv_nsec = 1;
    at_once.it_interval.tv_sec = never_s;
    timerfd_settime(fd, 0, &at_once, nullptr);
}

static bool was_read(int fd)
{
    itimerspec left = {};
    if (timerfd_gettime(fd, &left) == 0 && left.it_value.tv_sec < never_s / 2)
        return false; // not yet expired
    pollfd readable = { .fd = fd, .events = POLLIN, .revents = 0 };
    return poll(&readable, 1, 0) == 0;
}

static bool disarm(int fd)
{
    const itimerspec never = {};
    return timerfd_settime(fd, 0, &never, nullptr) == 0;
}

template <class match> static void forget_if(clock_driver &driver, match matches)
{
    std::erase_if(driver.timers, [&](const driven_timer &timer) {
        if (!matches(timer))
            return false;
        close(timer.fd);
        return true;
    });
}

bool clock_driver_add(clock_driver &driver, driven_timer timer, int64_t first_ms, int64_t interval_ms)
{
    if (!disarm(timer.fd)) {
        close(timer.fd);
        return false;
    }
    forget_if(driver, [&](const driven_timer &other) {
        return other.owner == timer.owner && other.name == timer.name;
    });
    timer.due_ns = clock_monotonic_ns() + first_ms * ns_per_ms;
    timer.interval_ns = interval_ms * ns_per_ms;
    driver.timers.push_back(timer);
    return true;
}

void clock_driver_forget(clock_driver &driver, uint64_t owner)
{
    const size_t before = driver.timers.size();
    forget_if(driver, [&](const driven_timer &timer) { return timer.owner == owner; });
    if (driver.timers.size() < before)
        clock_owner_forget_reader();
}

int64_t clock_driver_tick_from(const clock_driver &driver, int64_t moment_ns)
{
    int64_t first_ns = INT64_MAX;
    for (const driven_timer &timer : driver.timers) {
        const int64_t ahead_ns = std::max<int64_t>(moment_ns - timer.due_ns, 0);
        if (timer.interval_ns > 0)
            first_ns = std::min(first_ns, timer.due_ns + (ahead_ns + timer.interval_ns - 1) /
                                                             timer.interval_ns * timer.interval_ns);
        else if (ahead_ns == 0)
            first_ns = std::min(first_ns, timer.due_ns);
    }
    return first_ns;
}

void clock_driver_step(clock_driver &driver, int64_t until_ns)
{
    driver.step_to_ns = until_ns;
}

// What was slept through came with the tick that was read.
static int64_t next_due(const driven_timer &timer)
{
    if (timer.interval_ns == 0)
        return INT64_MAX;
    const int64_t passed = std::max<int64_t>(clock_monotonic_ns() - timer.due_ns, 0) / timer.interval_ns;
    return timer.due_ns + (passed + 1) * timer.interval_ns;
}

static void notice_reads(clock_driver &driver)
{
    for (driven_timer &timer : driver.timers) {
        if (!timer.unread || !was_read(timer.fd))
            continue;
        timer.unread = false;
        timer.due_ns = next_due(timer);
        driver.look_pause_ns = 0;
    }
}

static void deliver_due(clock_driver &driver)
{
    int64_t now_ns = clock_monotonic_ns();
    for (driven_timer &timer : driver.timers) {
        if (timer.unread || timer.due_ns > now_ns)
            continue;
        deliver(timer.fd);
        timer.unread = true;
    }
}

// The host time that the clock needs from one moment to another, at least 0.
static int64_t host_time_between(int64_t from_ns, int64_t to_ns, clock_speed speed)
{
    return std::max<int64_t>(to_ns - from_ns, 0) / speed.numerator * speed.denominator;
}

// The clock has stood at its old limit for a moment: goes on from where it would be without that. When the
// new limit is reached follows from the old one, so that no error adds up. False: it was not a moment, the
// pace is lost.
static bool make_up(clock_driver &driver, clock_speed speed, int64_t host_ns, int64_t limit_ns)
{
    const int64_t late_ns = host_ns - driver.limit_host_ns;
    if (late_ns < -longest_made_up_ns || late_ns > longest_made_up_ns)
        return false;
    if (late_ns > 0)
        clock_owner_step_to_ns(driver.limit_ns + late_ns / speed.denominator * speed.numerator);
    driver.limit_host_ns += host_time_between(driver.limit_ns, limit_ns, speed);
    return true;
}

static void set_limit(clock_driver &driver, int64_t limit_ns)
{
    const int64_t host_ns = host_time_ns(CLOCK_MONOTONIC);
    const clock_speed speed = clock_owner_speed();
    const int64_t now_ns = clock_monotonic_ns();
    const bool stood = now_ns == driver.limit_ns;
    clock_owner_set_limit_ns(limit_ns);
    if (speed.numerator == 0 || limit_ns == INT64_MAX)
        driver.limit_host_ns = 0;
    else if (!stood || !make_up(driver, speed, host_ns, limit_ns))
        driver.limit_host_ns = host_ns + host_time_between(now_ns, limit_ns, speed);
    driver.limit_ns = limit_ns;
}

static void move_limit(clock_driver &driver)
{
    const int64_t wakes_ns = clock_owner_reader_wakes_ns();
    int64_t limit_ns = INT64_MAX;
    for (const driven_timer &timer : driver.timers)
        limit_ns = std::min(limit_ns, timer.unread ? std::max(timer.due_ns, wakes_ns) : timer.due_ns);
    // Every change wakes all who sleep on the clock.
    if (limit_ns != driver.limit_ns)
        set_limit(driver, limit_ns);
}

// False: the clock was not moved.
static bool step(const clock_driver &driver, int64_t halt_ns)
{
    const int64_t to_ns = std::min(driver.step_to_ns, halt_ns);
    const int64_t now_ns = clock_monotonic_ns();
    return to_ns > now_ns && clock_owner_step_to_ns(to_ns) > now_ns;
}

int64_t clock_driver_run(clock_driver &driver, int64_t halt_ns)
{
    notice_reads(driver);
    move_limit(driver);
    const bool stepped = step(driver, halt_ns);
    deliver_due(driver);

    auto is_unread = [](const driven_timer &timer) { return timer.unread; };
    if (std::any_of(driver.timers.begin(), driver.timers.end(), is_unread)) {
        driver.look_pause_ns = std::clamp(driver.look_pause_ns * 2, first_look_ns, longest_look_ns);
        return driver.look_pause_ns;
    }
    if (stepped)
        return 0;
    if (driver.limit_ns == INT64_MAX)
        return -1;
    return clock_host_wait_ms(driver.limit_ns) * ns_per_ms;
}

void clock_driver_close(clock_driver &driver)
{
    for (const driven_timer &timer : driver.timers)
        close(timer.fd);
    driver.timers.clear();
    move_limit(driver);
}
