// SPDX-License-Identifier: MIT
// libkivo_util and libkivo_statistics.
#include "fakes/failing.h"
#include "fakes/platform.h"
#include "fakes/record.h"

#include <atomic>
#include <json-c/json.h>
#include <libkivo_statistics.h>
#include <libkivo_util.h>

platform_fakes platform;

void platform_reset()
{
    platform = platform_fakes();
}

#define LOG_FUNCTION(name, level)                                                                            \
    void name(const char *format, ...)                                                                       \
    {                                                                                                        \
        va_list arguments;                                                                                   \
        va_start(arguments, format);                                                                         \
        record_log(level, format, arguments);                                                                \
        va_end(arguments);                                                                                   \
    }

LOG_FUNCTION(log_debug, "debug")
LOG_FUNCTION(log_info, "info")
LOG_FUNCTION(log_warning, "warning")
LOG_FUNCTION(log_err, "err")

void log_set_syslog_level(int priority)
{
    record_call("log_set_syslog_level(%d)", priority);
}

uint32_t time_monotonic(void)
{
    if (platform.on_clock)
        platform.on_clock();
    return std::atomic_ref<uint32_t>(platform.monotonic_s).load();
}

uint64_t time_realtime_ms(void)
{
    return std::atomic_ref<uint64_t>(platform.realtime_ms).load();
}

int timer_start(int fd, int first_ms, int interval_ms)
{
    record_call("timer_start(%d, %d, %d)", fd, first_ms, interval_ms);
    return call_is_to_fail() ? -1 : platform.timer_start_result;
}

int rand_range(int low, int high)
{
    record_call("rand_range(%d, %d)", low, high);
    return platform.rand_range_result;
}

int generate_random_id(void)
{
    return platform.next_random_id++;
}

int report_stat_object(const char *name, json_object *object)
{
    record_call("report_stat_object(%s, %s)", quoted(name).c_str(),
                json_object_to_json_string_length(object, JSON_C_TO_STRING_PLAIN, nullptr));
    return call_is_to_fail() ? -1 : platform.report_stat_result;
}
