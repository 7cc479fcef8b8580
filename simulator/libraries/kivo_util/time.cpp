// SPDX-License-Identifier: MIT
// The clocks of the daemon. sleep, usleep and settimeofday stand before libc's, so that the daemon waits by
// the virtual clock and never sets the host's.
#include "contract.h"

#include "common/clock.h"
#include "common/journal.h"
#include "common/run_folder.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

#define EXPORTED __attribute__((visibility("default")))

static constexpr int64_t ns_per_s = 1000000000;
static constexpr int64_t ns_per_ms = 1000000;
static constexpr int64_t ns_per_us = 1000;
static constexpr int64_t us_per_s = 1000000;

// Some 270 years after the epoch; what is later would not fit 64 bits of nanoseconds.
static constexpr int64_t last_settable_s = 8500000000;

uint32_t time_monotonic(void)
{
    return static_cast<uint32_t>(clock_monotonic_ns() / ns_per_s);
}

uint64_t time_realtime_ms(void)
{
    return static_cast<uint64_t>(clock_realtime_ns() / ns_per_ms);
}

// What is left of the time in ns when a signal handler ran meanwhile, 0 when the time is over. Keeps errno.
static int64_t sleep_ns(int64_t duration_ns)
{
    const int error = errno;
    const int64_t until = clock_monotonic_ns() + duration_ns;
    const bool is_main_thread = gettid() == getpid();
    const bool over = is_main_thread ? clock_wait_as_reader_until_ns(until) : clock_wait_until_ns(until);
    const int64_t left = over ? 0 : until - clock_monotonic_ns();
    errno = error;
    return left > 0 ? left : 0;
}

EXPORTED unsigned int sleep(unsigned int seconds)
{
    const int64_t left = sleep_ns(seconds * ns_per_s);
    return static_cast<unsigned int>((left + ns_per_s - 1) / ns_per_s);
}

EXPORTED int usleep(useconds_t microseconds)
{
    if (sleep_ns(microseconds * ns_per_us) == 0)
        return 0;
    errno = EINTR;
    return -1;
}

static int refuse(int error)
{
    errno = error;
    return -1;
}

EXPORTED int settimeofday(const struct timeval *time, const struct timezone *) noexcept
{
    if (time == nullptr || time->tv_sec < 0 || time->tv_sec > last_settable_s || time->tv_usec < 0 ||
        time->tv_usec >= us_per_s)
        return refuse(EINVAL);
    const int64_t us = time->tv_sec * us_per_s + time->tv_usec;
    if (!clock_set_realtime_ns(us * ns_per_us))
        return refuse(EPERM);
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "realtime_ms", json_object_new_int64(us / 1000));
    journal_write(run_folder_who(), "clock", fields);
    return 0;
}
