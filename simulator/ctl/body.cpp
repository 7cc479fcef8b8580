// SPDX-License-Identifier: MIT
#include "ctl/body.h"

#include "common/host_time.h"
#include "ctl/duration.h"
#include "ctl/say.h"

#include <cstdio>
#include <ctime>

int press_key(const ctl_request &request)
{
    return order_and_say(request, command_of("key.press"), "the reset key is down");
}

int release_key(const ctl_request &request)
{
    return order_and_say(request, command_of("key.release"), "the reset key is up");
}

int hold_key(const ctl_request &request)
{
    const std::string &text = request.arguments[0];
    const int64_t ms = duration_ms(text);
    if (ms <= 0)
        return say_could_not(request, "\"" + text + "\" is no time to hold a key; write " + duration_units());
    const json_ptr command = command_of("key.hold");
    json_set_number(command.get(), "ms", ms);
    return order_and_say(request, command, "the reset key was held for " + text + " and is up again",
                         wait_as_long_as_it_takes);
}

static std::string clock_text(json_object *clock)
{
    constexpr int64_t second = 1000;
    const int64_t up_s = json_get_number(clock, "ms") / second;
    const auto of_day = static_cast<time_t>(json_get_number(clock, "realtime_ms") / second);
    tm utc = {};
    gmtime_r(&of_day, &utc);
    char day[64];
    char text[160];
    strftime(day, sizeof(day), "%Y-%m-%d %H:%M:%S", &utc);
    snprintf(text, sizeof(text), "%lld s since power-on (%lld:%02lld:%02lld), time of day %s UTC",
             static_cast<long long>(up_s), static_cast<long long>(up_s / 3600),
             static_cast<long long>(up_s / 60 % 60), static_cast<long long>(up_s % 60), day);
    return text;
}

static int step_clock(const ctl_request &request, const std::string &by)
{
    const int64_t ms = by.starts_with("+") ? duration_ms(by.substr(1)) : -1;
    if (ms <= 0)
        return say_could_not(request, "\"" + by + "\" is no step: the clock goes ahead by a time such as +" +
                                          duration_units());
    const json_ptr command = command_of("clock.step");
    json_set_number(command.get(), "ms", ms);
    const int64_t begin_ms = host_time_ms();
    int status = ctl_done;
    const json_ptr done = order_camera(request, command, status, wait_as_long_as_it_takes);
    if (!done)
        return status;
    char took[64];
    snprintf(took, sizeof(took), "\nthe step took %.1f s",
             static_cast<double>(host_time_ms() - begin_ms) / 1000);
    return say_done(request, done.get(), clock_text(done.get()) + took);
}

int show_or_step_clock(const ctl_request &request)
{
    if (!request.arguments.empty())
        return step_clock(request, request.arguments[0]);
    int status = ctl_done;
    const json_ptr done = ask_camera(request, command_of("clock"), status);
    return done ? say_done(request, done.get(), clock_text(done.get())) : status;
}
