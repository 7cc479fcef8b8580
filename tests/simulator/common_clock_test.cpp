// SPDX-License-Identifier: MIT
#include "harness.h"

#include "common/clock.h"
#include "common/clock_owner.h"
#include "common/host_time.h"
#include "common/page.h"

#include <pthread.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <ctime>
#include <thread>

static constexpr int64_t ms = 1000000;
static constexpr int64_t second = 1000 * ms;

static int64_t host_ns(void)
{
    return host_time_ns(CLOCK_MONOTONIC);
}

static void wait_on_host(int64_t duration_ns)
{
    const int64_t until = host_ns() + duration_ns;
    EXPECT_TRUE(desk_wait([until] { return host_ns() >= until; }));
}

// Checks that while change runs and until the next look the clock moves by numerator/denominator of the
// host's time.
static void expect_pace(int64_t numerator, int64_t denominator)
{
    const int64_t host_before = host_ns();
    const int64_t start = clock_monotonic_ns();
    const int64_t host_start = host_ns();
    wait_on_host(20 * ms);
    const int64_t host_end = host_ns();
    const int64_t moved = clock_monotonic_ns() - start;
    const int64_t host_after = host_ns();
    EXPECT_GE(moved, (host_end - host_start) * numerator / denominator - 1);
    EXPECT_LE(moved, (host_after - host_before) * numerator / denominator + 1);
}

STORY(clock, it_starts_at_0_and_runs_at_the_hosts_pace_with_the_hosts_wall_clock)
{
    const int64_t host_before = host_ns();
    const int64_t wall_before = host_time_ns(CLOCK_REALTIME);
    ASSERT_NE(page_create(), nullptr);
    const int64_t now = clock_monotonic_ns();
    const int64_t wall = clock_realtime_ns();
    EXPECT_GE(now, 0);
    EXPECT_LE(now, host_ns() - host_before);
    EXPECT_GE(wall, wall_before);
    EXPECT_LE(wall - wall_before, second);
    expect_pace(1, 1);
}

STORY(clock, without_a_page_the_clocks_are_the_systems)
{
    const int64_t host_before = host_ns();
    const int64_t now = clock_monotonic_ns();
    EXPECT_GE(now, host_before);
    EXPECT_LE(now, host_ns());
    const int64_t wall_before = host_time_ns(CLOCK_REALTIME);
    const int64_t wall = clock_realtime_ns();
    EXPECT_GE(wall, wall_before);
    EXPECT_LE(wall, host_time_ns(CLOCK_REALTIME));
    EXPECT_FALSE(clock_set_realtime_ns(wall));
    EXPECT_EQ(clock_host_wait_ms(host_ns() - 1), 0);
    EXPECT_EQ(clock_host_wait_ms(host_ns() + 3600 * second), 1000);
}

STORY(clock, without_a_page_a_sleep_ends_by_the_systems_clock)
{
    const int64_t until = host_ns() + 20 * ms;
    clock_sleep_until_ns(until);
    EXPECT_GE(host_ns(), until);
    clock_sleep_until_ns(-1); // long ago
}

STORY(clock, it_runs_as_fast_as_it_is_told)
{
    desk_page();
    for (const clock_speed speed : { clock_speed{ 1000, 1 }, { 3, 7 }, { 1, 1000 }, { 0, 1 } }) {
        EXPECT_TRUE(clock_owner_set_speed(speed));
        EXPECT_EQ(clock_owner_speed().numerator, speed.numerator);
        EXPECT_EQ(clock_owner_speed().denominator, speed.denominator);
        expect_pace(speed.numerator, speed.denominator);
    }
}

STORY(clock, a_speed_that_is_none_changes_nothing)
{
    desk_page();
    desk_clock_run(3);
    for (const clock_speed speed : { clock_speed{ 1, 0 }, { 1000001, 1 }, { 1, 1000001 } })
        EXPECT_FALSE(clock_owner_set_speed(speed));
    EXPECT_EQ(clock_owner_speed().numerator, 3U);
    EXPECT_EQ(clock_owner_speed().denominator, 1U);
}

STORY(clock, a_new_speed_makes_no_jump)
{
    desk_page();
    clock_owner_step_to_ns(1000 * second);
    EXPECT_TRUE(clock_owner_set_speed({ 1000000, 1 }));
    EXPECT_TRUE(clock_owner_set_speed({ 0, 1 }));
    EXPECT_GE(clock_monotonic_ns(), 1000 * second);
    const int64_t stood = clock_monotonic_ns();
    wait_on_host(5 * ms);
    const int64_t before = host_ns();
    EXPECT_TRUE(clock_owner_set_speed({ 1, 1 }));
    const int64_t now = clock_monotonic_ns();
    EXPECT_GE(now, stood);
    EXPECT_LE(now, stood + host_ns() - before);
}

STORY(clock, it_stands_still_at_its_limit)
{
    desk_page();
    clock_owner_set_limit_ns(5 * second);
    desk_clock_run(1000);
    EXPECT_TRUE(desk_wait([] { return clock_monotonic_ns() >= 5 * second; }));
    wait_on_host(5 * ms);
    EXPECT_EQ(clock_monotonic_ns(), 5 * second);
    EXPECT_EQ(clock_owner_limit_ns(), 5 * second);
}

STORY(clock, from_a_limit_it_goes_on_without_a_jump)
{
    desk_page();
    clock_owner_set_limit_ns(5 * ms);
    desk_clock_run(1);
    EXPECT_TRUE(desk_wait([] { return clock_monotonic_ns() == 5 * ms; }));
    wait_on_host(50 * ms);
    const int64_t before = host_ns();
    clock_owner_set_limit_ns(INT64_MAX);
    const int64_t now = clock_monotonic_ns();
    EXPECT_GE(now, 5 * ms);
    EXPECT_LE(now, 5 * ms + host_ns() - before);
    EXPECT_TRUE(desk_wait([now] { return clock_monotonic_ns() > now; }));
}

STORY(clock, a_limit_that_has_passed_stops_it_where_it_is)
{
    desk_page();
    clock_owner_step_to_ns(10 * second);
    clock_owner_set_limit_ns(3 * second);
    EXPECT_EQ(clock_owner_limit_ns(), 10 * second);
    desk_clock_run(1000);
    wait_on_host(5 * ms);
    EXPECT_EQ(clock_monotonic_ns(), 10 * second);
}

STORY(clock, a_step_goes_ahead_to_the_moment)
{
    desk_page();
    EXPECT_EQ(clock_owner_step_to_ns(3600 * second), 3600 * second);
    EXPECT_EQ(clock_monotonic_ns(), 3600 * second);
}

STORY(clock, a_step_never_goes_back)
{
    desk_page();
    clock_owner_step_to_ns(3600 * second);
    EXPECT_EQ(clock_owner_step_to_ns(second), 3600 * second);
    EXPECT_EQ(clock_monotonic_ns(), 3600 * second);
}

STORY(clock, a_step_ends_at_the_limit)
{
    desk_page();
    clock_owner_set_limit_ns(10 * second);
    EXPECT_EQ(clock_owner_step_to_ns(3600 * second), 10 * second);
    EXPECT_EQ(clock_monotonic_ns(), 10 * second);
}

STORY(clock, it_does_not_wrap_at_the_end_of_time)
{
    desk_page();
    clock_owner_step_to_ns(INT64_MAX - second);
    EXPECT_TRUE(clock_owner_set_speed({ 1000000, 1 }));
    EXPECT_TRUE(desk_wait([] { return clock_monotonic_ns() == INT64_MAX; }));
}

STORY(clock, nobody_is_told_an_earlier_time_than_anybody_was_before)
{
    desk_page();
    std::atomic<int64_t> newest = 0;
    std::atomic<bool> over = false;
    const auto watch = [&] {
        while (!over) {
            const int64_t known = newest.load();
            const int64_t now = clock_monotonic_ns();
            EXPECT_GE(now, known);
            newest = now;
        }
    };
    std::thread one(watch);
    std::thread other(watch);
    for (uint32_t i = 0; i < 2000; i++) {
        clock_owner_set_speed({ i % 3 == 0 ? 1000000U : 0, 1 });
        if (i % 5 == 0)
            clock_owner_step_to_ns(clock_monotonic_ns() + ms);
    }
    over = true;
    one.join();
    other.join();
}

// Sleeps until the moment on a thread, while change is called again and again until the sleep is over.
static void sleeps_until(int64_t moment, const std::function<void()> &change)
{
    std::atomic<bool> over = false;
    std::thread sleeper([&] {
        clock_sleep_until_ns(moment);
        EXPECT_GE(clock_monotonic_ns(), moment);
        over = true;
    });
    EXPECT_TRUE(desk_wait([&] {
        change();
        return over.load();
    })) << "it does not wake";
    sleeper.join();
}

STORY(clock, who_sleeps_wakes_when_the_clock_is_stepped)
{
    desk_page();
    sleeps_until(3600 * second, [] { desk_clock_step(60000); });
}

STORY(clock, who_sleeps_wakes_when_the_limit_is_raised)
{
    desk_page();
    clock_owner_set_limit_ns(0);
    desk_clock_run(1000000);
    int64_t limit = 0;
    sleeps_until(3600 * second, [&limit] { clock_owner_set_limit_ns(limit += 60 * second); });
}

STORY(clock, who_sleeps_wakes_earlier_when_the_clock_runs_faster)
{
    desk_page();
    desk_clock_run(1);
    sleeps_until(3600 * second, [] { desk_clock_run(1000000); });
}

STORY(clock, a_sleeper_of_another_process_wakes_too)
{
    std::atomic<bool> over = false;
    desk_page();
    const pid_t process = desk_begin_process([] { clock_sleep_until_ns(3600 * second); });
    std::thread waiter([&over, process] {
        EXPECT_EQ(desk_end_process(process), 0);
        over = true;
    });
    EXPECT_TRUE(desk_wait([&over] {
        desk_clock_step(60000);
        return over.load();
    }));
    waiter.join();
}

STORY(clock, a_moment_that_has_come_is_not_waited_for)
{
    desk_page();
    clock_owner_step_to_ns(10 * second);
    clock_sleep_until_ns(10 * second);
    EXPECT_TRUE(clock_wait_until_ns(-1));
}

STORY(clock, a_wait_tells_that_a_signal_handler_ran_and_a_sleep_goes_on)
{
    struct sigaction action = {};
    static std::atomic<int> handled = 0;
    action.sa_handler = [](int) { handled++; };
    sigaction(SIGUSR1, &action, nullptr);
    desk_page();

    std::atomic<bool> waited = false;
    std::thread sleeper([&waited] {
        EXPECT_FALSE(clock_wait_until_ns(second));
        waited = true;
        clock_sleep_until_ns(second);
        EXPECT_GE(clock_monotonic_ns(), second);
    });
    const auto signal_sleeper = [&sleeper] { pthread_kill(sleeper.native_handle(), SIGUSR1); };
    EXPECT_TRUE(desk_wait([&] {
        signal_sleeper();
        return waited.load();
    }));
    const int before = handled;
    EXPECT_TRUE(desk_wait([&] {
        signal_sleeper();
        return handled > before + 3;
    }));
    clock_owner_step_to_ns(second);
    sleeper.join();
}

STORY(clock, the_hosts_wait_is_rounded_up_to_a_ms)
{
    desk_page();
    EXPECT_TRUE(clock_owner_set_speed({ 1, 1000 })); // so slow that the look itself does not count
    EXPECT_EQ(clock_host_wait_ms(clock_monotonic_ns() - 1), 0);
    EXPECT_EQ(clock_host_wait_ms(clock_monotonic_ns() + 100), 1);
    EXPECT_NEAR(clock_host_wait_ms(clock_monotonic_ns() + 500000), 500, 1);
}

STORY(clock, the_hosts_wait_follows_the_speed)
{
    desk_page();
    desk_clock_run(1000);
    const int wait = clock_host_wait_ms(clock_monotonic_ns() + 500 * second);
    EXPECT_GT(wait, 0);
    EXPECT_LE(wait, 500);
}

STORY(clock, the_hosts_wait_is_never_long)
{
    desk_page();
    EXPECT_EQ(clock_host_wait_ms(1), 1000) << "it stands still";
    desk_clock_run(1);
    EXPECT_EQ(clock_host_wait_ms(3600 * second), 1000);
    EXPECT_EQ(clock_host_wait_ms(INT64_MAX), 1000) << "a moment that never comes, on a clock without a limit";
    clock_owner_set_limit_ns(clock_monotonic_ns());
    EXPECT_EQ(clock_host_wait_ms(clock_monotonic_ns() + 1), 1000) << "it stands still at its limit";
    EXPECT_EQ(clock_host_wait_ms(INT64_MAX), 1000);
}

STORY(clock, the_wall_clock_is_set_for_all_and_moves_on_with_the_other)
{
    desk_page();
    clock_owner_step_to_ns(7 * second);
    EXPECT_EQ(desk_in_process([] { EXPECT_TRUE(clock_set_realtime_ns(INT64_C(1700000000) * second)); }), 0);
    EXPECT_EQ(clock_realtime_ns(), INT64_C(1700000000) * second);
    clock_owner_step_to_ns(9 * second);
    EXPECT_EQ(clock_realtime_ns(), INT64_C(1700000002) * second);
    EXPECT_EQ(clock_monotonic_ns(), 9 * second);
}

STORY(time_of_the_world, goes_on_with_the_clock_and_is_not_set)
{
    desk_page();
    const int64_t begin_ns = clock_world_ns();
    EXPECT_NEAR(static_cast<double>(begin_ns) / 1e9, static_cast<double>(time(nullptr)), 12.0);
    clock_set_realtime_ns(0);
    desk_clock_step(3'600'000);
    EXPECT_EQ(clock_world_ns() - begin_ns, INT64_C(3'600'000'000'000));
}

STORY(a_camera_that_was_on_before, has_the_same_time_of_day)
{
    desk_page();
    const int64_t world_ns = clock_world_ns();
    const int64_t wall_ns = clock_realtime_ns();
    clock_owner_begin_at_ns(10 * second);
    EXPECT_EQ(clock_monotonic_ns(), 10 * second);
    EXPECT_EQ(clock_world_ns(), world_ns);
    EXPECT_EQ(clock_realtime_ns(), wall_ns);
}

STORY(time_of_the_world, is_the_systems_without_a_page)
{
    EXPECT_NEAR(static_cast<double>(clock_world_ns()) / 1e9, static_cast<double>(time(nullptr)), 12.0);
}
