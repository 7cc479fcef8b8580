// SPDX-License-Identifier: MIT
// tick_desk.h - one tick after the other, at the second that a test names.
#pragma once

#include "core/tick.h"

#include "fakes/daemon_desk.h"

#include <sys/timerfd.h>
#include <unistd.h>

inline const char time_query[] = R"({"id":501,"method":"local.query_time","params":null})";
inline const char status_query[] = R"({"id":501,"method":"local.query_status","params":null})";

// All links up and nothing due, until a test says otherwise.
struct tick : daemon_desk {
    tick()
    {
        kit.timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        kit.sound_fd = 99;
        kit.status_received = 1;
        kit.reconnect_time = 900;
        kit.ircut_report_time = 1000;
        kit.sysinfo_due = 1000000;
        record_clear();
        at(1001);
    }
    ~tick() override
    {
        close(kit.timer_fd);
    }

    static void at(uint32_t second)
    {
        platform.monotonic_s = second;
    }

    static texts ticks()
    {
        record_clear();
        sends_reset();
        EXPECT_EQ(tick_handler(kit.timer_fd), 0);
        return sent_texts();
    }

    static texts ticks_at(uint32_t second)
    {
        at(second);
        return ticks();
    }
};
