// SPDX-License-Identifier: MIT
// The daemon's timer under the virtual clock, with a real descriptor that the test reads when it likes.
#include "harness.h"

#include "common/clock.h"
#include "common/host_time.h"
#include "common/page.h"
#include "stage/clock_driver.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

struct daemon_timer {
    clock_driver driver;
    int fd = -1; // the daemon's own; stage has a copy
};

static void bring(daemon_timer &timer, uint64_t owner, int64_t first_ms, int64_t interval_ms)
{
    timer.fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    ASSERT_GE(timer.fd, 0);
    ASSERT_TRUE(
        clock_driver_add(timer.driver, { .owner = owner, .fd = dup(timer.fd) }, first_ms, interval_ms));
    clock_driver_run(timer.driver);
}

// What the daemon reads: how many ticks have come, 0 for none.
static uint64_t read_ticks(int fd)
{
    uint64_t ticks = 0;
    return read(fd, &ticks, sizeof ticks) == sizeof ticks ? ticks : 0;
}

// Drives the clock until the daemon finds a tick; what it reads then.
static uint64_t next_tick(daemon_timer &timer)
{
    uint64_t ticks = 0;
    EXPECT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        ticks = read_ticks(timer.fd);
        return ticks > 0;
    })) << "no tick came";
    return ticks;
}

static void finish(daemon_timer &timer)
{
    close(timer.fd);
    clock_driver_close(timer.driver);
}

STORY(tick, comes_at_its_time)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_step(999);
    clock_driver_run(timer.driver);
    EXPECT_EQ(read_ticks(timer.fd), 0U);

    desk_clock_step(1);
    EXPECT_EQ(next_tick(timer), 1U);
    EXPECT_EQ(desk_clock_ms(), 1000);
    finish(timer);
}

STORY(tick, comes_again_after_every_interval)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 300, 500);
    desk_clock_run(100);
    for (int64_t due_ms : { 300, 800, 1300, 1800 }) {
        EXPECT_EQ(next_tick(timer), 1U);
        EXPECT_EQ(desk_clock_ms(), due_ms);
    }
    finish(timer);
}

STORY(clock_of_the_camera, stands_still_while_a_tick_is_unread)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_run(1000); // a second of the camera takes a millisecond
    ASSERT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return timer.driver.timers[0].unread;
    }));
    // As long as the camera would need for a second more, were it not held.
    const int64_t until_ms = host_time_ms() + 2;
    while (host_time_ms() < until_ms) {
        clock_driver_run(timer.driver);
        ASSERT_EQ(desk_clock_ms(), 1000);
    }
    EXPECT_EQ(read_ticks(timer.fd), 1U) << "it was delivered once";
    finish(timer);
}

STORY(clock_of_the_camera, goes_on_to_the_next_tick_once_a_late_one_is_read)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_run(1000);
    ASSERT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return timer.driver.timers[0].unread && desk_clock_ms() == 1000;
    }));
    EXPECT_EQ(read_ticks(timer.fd), 1U);
    EXPECT_EQ(next_tick(timer), 1U);
    EXPECT_EQ(desk_clock_ms(), 2000);
    finish(timer);
}

STORY(clock_of_the_camera, is_looked_at_again_soon_and_then_less_often)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_step(1000);
    EXPECT_EQ(clock_driver_run(timer.driver), 100'000);
    EXPECT_EQ(clock_driver_run(timer.driver), 200'000);
    for (int i = 0; i < 5; i++)
        clock_driver_run(timer.driver);
    EXPECT_EQ(clock_driver_run(timer.driver), 2'000'000);
    finish(timer);
}

STORY(clock_of_the_camera, loses_no_tick_when_it_is_stepped)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    clock_driver_step(timer.driver, 10'500 * INT64_C(1'000'000));

    for (int64_t due_ms = 1000; due_ms <= 10'000; due_ms += 1000) {
        EXPECT_EQ(next_tick(timer), 1U);
        EXPECT_EQ(desk_clock_ms(), due_ms);
    }
    EXPECT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return desk_clock_ms() == 10'500;
    })) << "and ends where it was stepped to";
    EXPECT_EQ(read_ticks(timer.fd), 0U);
    finish(timer);
}

struct lag {
    int64_t least_ms = INT64_MAX; // how far the camera's clock, standing at a tick, is behind the host's
    int64_t longest_wait_ms = 0;  // for one tick
};

static lag take_ticks(daemon_timer &timer, int count)
{
    lag lag;
    int64_t before_ms = host_time_ms();
    for (int i = 0; i < count; i++) {
        EXPECT_EQ(next_tick(timer), 1U);
        const int64_t after_ms = host_time_ms();
        lag.least_ms = std::min(lag.least_ms, after_ms - desk_clock_ms());
        lag.longest_wait_ms = std::max(lag.longest_wait_ms, after_ms - before_ms);
        before_ms = after_ms;
    }
    return lag;
}

// By how much the clock falls behind over 80 ticks; -1 when a busy machine held up the test so long that
// nothing can be said.
static int64_t lost_over_80_ticks(daemon_timer &timer)
{
    const lag begin = take_ticks(timer, 20);
    const lag middle = take_ticks(timer, 80);
    const lag end = take_ticks(timer, 20);
    if (std::max({ begin.longest_wait_ms, middle.longest_wait_ms, end.longest_wait_ms }) > 150)
        return -1;
    return std::max<int64_t>(end.least_ms - begin.least_ms, 0);
}

STORY(clock_of_the_camera, keeps_pace_with_the_host_although_it_stands_at_every_tick)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 10, 10);
    desk_clock_run(1);
    int64_t lost_ms = -1;
    for (int i = 0; i < 10 && lost_ms < 0; i++)
        lost_ms = lost_over_80_ticks(timer);
    ASSERT_GE(lost_ms, 0) << "the machine is too busy to tell";
    // The test looks for a tick every millisecond and finds it half of one late: 40 ms would add up.
    EXPECT_LE(lost_ms, 15);
    finish(timer);
}

STORY(clock_of_the_camera, does_not_make_up_for_a_long_stand)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 10, 500);
    desk_clock_run(1);
    next_tick(timer); // from here on the pace is known
    ASSERT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return timer.driver.timers[0].unread;
    }));
    const int64_t until_ms = host_time_ms() + 400;
    ASSERT_TRUE(desk_wait([&] { return host_time_ms() > until_ms; }));
    EXPECT_EQ(read_ticks(timer.fd), 1U);
    clock_driver_run(timer.driver);
    EXPECT_LT(desk_clock_ms(), 510 + 300);
    finish(timer);
}

STORY(a_daemon_that_sleeps, is_let_sleep_past_a_tick_and_finds_it_afterwards)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_step(950);
    desk_clock_run(1);
    std::atomic<bool> awake = false;
    std::thread sleeper([&awake] {
        clock_wait_as_reader_until_ns(1'050'000'000);
        awake = true;
    });
    EXPECT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return awake.load();
    })) << "the clock waits for who waits for the clock";
    sleeper.join();
    EXPECT_EQ(read_ticks(timer.fd), 1U);
    EXPECT_EQ(next_tick(timer), 1U);
    EXPECT_EQ(desk_clock_ms(), 2000);
    finish(timer);
}

STORY(a_daemon_that_sleeps, holds_the_clock_again_when_it_is_awake)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    page_open()->reader_wakes_ns = 1'200'000'000;
    clock_driver_step(timer.driver, 10'000'000'000);
    for (int i = 0; i < 5; i++)
        clock_driver_run(timer.driver);
    EXPECT_EQ(desk_clock_ms(), 1200);
    EXPECT_EQ(read_ticks(timer.fd), 1U);
    finish(timer);
}

STORY(a_daemon_that_sleeps, finds_one_tick_for_all_that_it_slept_through)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    page_open()->reader_wakes_ns = 3'500'000'000;
    clock_driver_step(timer.driver, 3'500'000'000);
    ASSERT_TRUE(desk_wait([&] {
        clock_driver_run(timer.driver);
        return desk_clock_ms() == 3500;
    }));
    page_open()->reader_wakes_ns = 0;
    EXPECT_EQ(read_ticks(timer.fd), 1U);
    clock_driver_run(timer.driver);
    desk_clock_step(10'000);
    EXPECT_EQ(desk_clock_ms(), 4000);
    EXPECT_EQ(next_tick(timer), 1U);
    finish(timer);
}

STORY(a_daemon_that_is_killed_asleep, leaves_no_trace_of_its_sleep)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    page_open()->reader_wakes_ns = 60'000'000'000;
    clock_driver_forget(timer.driver, 1);
    close(timer.fd);
    bring(timer, 2, 1000, 1000);
    clock_driver_step(timer.driver, 60'000'000'000);
    for (int i = 0; i < 5; i++)
        clock_driver_run(timer.driver);
    EXPECT_EQ(desk_clock_ms(), 1000);
    finish(timer);
}

STORY(clock_of_the_camera, waits_for_the_slowest_of_two_readers)
{
    desk_page();
    daemon_timer quick;
    bring(quick, 1, 1000, 1000);
    const int slow = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    ASSERT_TRUE(clock_driver_add(quick.driver, { .owner = 2, .fd = dup(slow) }, 1000, 1000));
    desk_clock_step(1000);
    EXPECT_EQ(next_tick(quick), 1U);
    desk_clock_step(1000);
    clock_driver_run(quick.driver);
    desk_clock_step(1000);
    EXPECT_EQ(desk_clock_ms(), 1000);

    EXPECT_EQ(read_ticks(slow), 1U);
    clock_driver_run(quick.driver);
    desk_clock_step(1000);
    EXPECT_EQ(desk_clock_ms(), 2000);

    clock_driver_run(quick.driver);
    ASSERT_TRUE(desk_wait([&] { return read_ticks(slow) == 1; })) << "now the other one is late";
    clock_driver_run(quick.driver);
    desk_clock_step(1000);
    EXPECT_EQ(desk_clock_ms(), 2000);
    close(slow);
    finish(quick);
}

STORY(clock_of_the_camera, runs_free_when_the_reader_has_gone)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 7, 1000, 1000);
    desk_clock_step(1000);
    clock_driver_run(timer.driver); // delivered, and never read
    clock_driver_forget(timer.driver, 7);
    EXPECT_EQ(clock_driver_run(timer.driver), -1) << "there is nothing to drive";
    desk_clock_step(60'000);
    EXPECT_EQ(desk_clock_ms(), 61'000);
    finish(timer);
}

STORY(clock_of_the_camera, runs_free_after_the_one_tick_of_a_timer_without_interval)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 0);
    desk_clock_step(1000);
    EXPECT_EQ(next_tick(timer), 1U);
    clock_driver_run(timer.driver);
    desk_clock_step(5000);
    clock_driver_run(timer.driver);
    EXPECT_EQ(desk_clock_ms(), 6000);
    EXPECT_EQ(read_ticks(timer.fd), 0U);
    finish(timer);
}

STORY(timer, that_is_brought_again_begins_anew)
{
    desk_page();
    daemon_timer timer;
    bring(timer, 1, 1000, 1000);
    desk_clock_step(500);
    ASSERT_TRUE(clock_driver_add(timer.driver, { .owner = 1, .fd = dup(timer.fd) }, 1000, 1000));
    clock_driver_run(timer.driver);
    desk_clock_step(999);
    clock_driver_run(timer.driver);
    EXPECT_EQ(read_ticks(timer.fd), 0U);
    desk_clock_step(1);
    EXPECT_EQ(next_tick(timer), 1U);
    EXPECT_EQ(desk_clock_ms(), 1500);
    finish(timer);
}

STORY(timer, must_be_one)
{
    desk_page();
    clock_driver driver;
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_FALSE(clock_driver_add(driver, { .owner = 1, .fd = ends[0] }, 1000, 1000));
    EXPECT_TRUE(driver.timers.empty());
    pollfd other_end = { .fd = ends[1], .events = 0, .revents = 0 };
    EXPECT_EQ(poll(&other_end, 1, 0), 1) << "the descriptor was not closed";
    close(ends[1]);
}
