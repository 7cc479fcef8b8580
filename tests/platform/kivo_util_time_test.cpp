// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libkivo_util.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>

static constexpr int64_t ms_per_s = 1000;

static int64_t host_ms(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec * ms_per_s + now.tv_nsec / 1000000;
}

// A broken link order would let a case set the clock of the host.
static bool settimeofday_is_the_librarys(void)
{
    Dl_info owner = {};
    return dladdr(dlsym(RTLD_DEFAULT, "settimeofday"), &owner) != 0 &&
           std::string(owner.dli_fname).find("libkivo_util.so") != std::string::npos;
}

static int set_wall_clock(time_t seconds, suseconds_t microseconds)
{
    const timeval time = { .tv_sec = seconds, .tv_usec = microseconds };
    return settimeofday(&time, nullptr);
}

STORY(time, monotonic_seconds_are_the_whole_ones_of_the_virtual_clock)
{
    desk_page();
    desk_clock_step(2999 - desk_clock_ms());
    EXPECT_EQ(time_monotonic(), 2U);
    desk_clock_step(1);
    EXPECT_EQ(time_monotonic(), 3U);
}

STORY(time, the_wall_clock_moves_with_the_virtual_clock)
{
    desk_page();
    const uint64_t before = time_realtime_ms();
    desk_clock_step(1234567);
    EXPECT_EQ(time_realtime_ms(), before + 1234567);
}

STORY(time, without_a_page_both_clocks_are_the_hosts)
{
    const int64_t monotonic_before = host_ms(CLOCK_MONOTONIC);
    const int64_t realtime_before = host_ms(CLOCK_REALTIME);
    const int64_t monotonic = time_monotonic();
    const int64_t realtime = static_cast<int64_t>(time_realtime_ms());
    EXPECT_GE(monotonic, monotonic_before / ms_per_s);
    EXPECT_LE(monotonic, host_ms(CLOCK_MONOTONIC) / ms_per_s);
    EXPECT_GE(realtime, realtime_before);
    EXPECT_LE(realtime, host_ms(CLOCK_REALTIME));
}

// Runs pause on a thread and turns the clock on, a hundred seconds at a time, until it is over. The virtual
// time that it took in ms.
static int64_t sleeps_ms(void (*pause)(void))
{
    std::atomic<bool> over = false;
    int64_t slept_ms = 0;
    std::thread sleeper([&] {
        const int64_t start = desk_clock_ms();
        pause();
        slept_ms = desk_clock_ms() - start;
        over = true;
    });
    EXPECT_TRUE(desk_wait([&over] {
        desk_clock_step(100 * ms_per_s);
        return over.load();
    })) << "it does not wake by the virtual clock";
    sleeper.join();
    return slept_ms;
}

STORY(time, sleep_waits_for_the_virtual_clock)
{
    desk_page();
    EXPECT_GE(sleeps_ms([] { EXPECT_EQ(sleep(3600), 0U); }), 3600 * ms_per_s);
}

STORY(time, usleep_waits_for_the_virtual_clock)
{
    desk_page();
    EXPECT_GE(sleeps_ms([] { EXPECT_EQ(usleep(3600U * 1000000U), 0); }), 3600 * ms_per_s);
}

STORY(time, sleepers_follow_the_speed_of_the_clock)
{
    desk_page();
    desk_clock_run(1000);
    const int64_t host_start = host_ms(CLOCK_MONOTONIC);
    const int64_t start = desk_clock_ms();
    EXPECT_EQ(sleep(50), 0U);
    EXPECT_GE(desk_clock_ms() - start, 50 * ms_per_s);
    EXPECT_LT(host_ms(CLOCK_MONOTONIC) - host_start, 20 * ms_per_s);
}

STORY(time, without_a_page_sleepers_wait_for_the_hosts_clock)
{
    const int64_t start = host_ms(CLOCK_MONOTONIC);
    EXPECT_EQ(usleep(30000), 0);
    EXPECT_EQ(sleep(1), 0U);
    EXPECT_GE(host_ms(CLOCK_MONOTONIC) - start, 1029);
}

// Runs pause on a thread while the clock stands still, and sends it signals until it is over.
static void interrupt(const std::function<void()> &pause)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART; // never restarts a sleep
    sigaction(SIGUSR1, &action, nullptr);

    std::atomic<bool> over = false;
    std::thread sleeper([&] {
        pause();
        over = true;
    });
    EXPECT_TRUE(desk_wait([&] {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        return over.load();
    })) << "a signal does not wake it";
    sleeper.join();
}

STORY(time, sleep_tells_what_is_left_when_a_signal_handler_ran)
{
    desk_page();
    interrupt([] { EXPECT_EQ(sleep(10), 10U); });
}

STORY(time, usleep_tells_that_a_signal_handler_ran)
{
    desk_page();
    interrupt([] {
        EXPECT_EQ(usleep(10), -1);
        EXPECT_EQ(errno, EINTR);
    });
}

STORY(time, sleeping_leaves_errno_alone)
{
    desk_page();
    desk_clock_run(1000);
    errno = EXDEV;
    sleep(1);
    usleep(1000);
    EXPECT_EQ(errno, EXDEV);
}

STORY(time, settimeofday_sets_the_virtual_wall_clock_and_nothing_else)
{
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    desk_clock_step(7000);
    const int64_t host_before = host_ms(CLOCK_REALTIME);

    EXPECT_EQ(set_wall_clock(1700000000, 250000), 0);

    EXPECT_EQ(time_realtime_ms(), 1700000000250U);
    EXPECT_EQ(time_monotonic(), 7U);
    EXPECT_GE(host_ms(CLOCK_REALTIME), host_before);
    desk_clock_step(500);
    EXPECT_EQ(time_realtime_ms(), 1700000000750U);
}

STORY(time, settimeofday_is_told_to_the_journal)
{
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    EXPECT_EQ(set_wall_clock(1700000000, 250999), 0);
    EXPECT_EQ(desk_journal_of("clock"),
              std::vector<std::string>{ R"({"who":"daemon","what":"clock","realtime_ms":1700000000250})" });
}

STORY(time, the_wall_clock_goes_past_2038)
{
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    EXPECT_EQ(set_wall_clock(5000000000, 0), 0);
    EXPECT_EQ(time_realtime_ms(), 5000000000000U);
}

STORY(time, the_wall_clock_is_one_for_all_processes_of_the_camera)
{
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    EXPECT_EQ(desk_in_process([] { EXPECT_EQ(set_wall_clock(1600000000, 0), 0); }), 0);
    EXPECT_EQ(time_realtime_ms(), 1600000000000U);
}

STORY(time, without_a_page_settimeofday_refuses)
{
    ASSERT_TRUE(settimeofday_is_the_librarys());
    const timeval now = { .tv_sec = time(nullptr), .tv_usec = 0 };
    EXPECT_EQ(settimeofday(&now, nullptr), -1);
    EXPECT_EQ(errno, EPERM);
}

STORY(time, a_time_that_is_none_is_refused)
{
    const std::vector<timeval> none = {
        { .tv_sec = -1, .tv_usec = 0 },
        { .tv_sec = 0, .tv_usec = -1 },
        { .tv_sec = 0, .tv_usec = 1000000 },
        { .tv_sec = INT64_MAX / 1000, .tv_usec = 0 },
    };
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    const uint64_t before = time_realtime_ms();
    for (const timeval &time : none) {
        errno = 0;
        EXPECT_EQ(settimeofday(&time, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(settimeofday(nullptr, nullptr), -1);
    EXPECT_EQ(time_realtime_ms(), before);
    EXPECT_TRUE(desk_journal_of("clock").empty());
}

STORY(time, several_threads_may_read_the_clocks_while_they_are_changed)
{
    desk_page();
    ASSERT_TRUE(settimeofday_is_the_librarys());
    std::atomic<bool> over = false;
    const auto read_clocks = [&over] {
        uint32_t newest = 0;
        while (!over) {
            const uint32_t now = time_monotonic();
            EXPECT_GE(now, newest);
            newest = now;
            EXPECT_GE(time_realtime_ms(), 1000000000U);
        }
    };
    std::thread one(read_clocks);
    std::thread other(read_clocks);
    for (int i = 0; i < 300; i++) {
        desk_clock_step(10);
        EXPECT_EQ(set_wall_clock(1700000000 - i, 0), 0);
    }
    over = true;
    one.join();
    other.join();
}
