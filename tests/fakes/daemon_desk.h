// SPDX-License-Identifier: MIT
// daemon_desk.h - the daemon's state with the links up: the store open, the cloud client on a socket.
#pragma once

#include "store/selvar_nvram.h"
#include "util/children.h"

#include "fakes/kit_desk.h"

#include <sys/wait.h>

struct store_open_desk : kit_desk {
    explicit store_open_desk(selvar_notify callback = nullptr)
    {
        kit.mc_fd = selvar_nvram_init(callback);
        record_clear();
    }
    ~store_open_desk() override
    {
        selvar_nvram_exit();
    }
};

struct daemon_desk : store_open_desk {
    explicit daemon_desk(selvar_notify callback = nullptr) : store_open_desk(callback)
    {
        kit.otd_sock = cloud.daemon;
    }

    cloud_pair cloud;
};

// Waits for the one script that was started. Before this it may not have begun: under ThreadSanitizer the
// parent of a vfork does not wait.
inline void script_has_ended()
{
    siginfo_t information = {};
    EXPECT_EQ(waitid(P_ALL, 0, &information, WEXITED | WNOWAIT), 0);
    child_reap();
}

// What a write looks like in the record of calls.
inline std::string nvram_set(const std::string &key, const std::string &value)
{
    return "libselvar_set_value(nvram, default, " + key + ", 1, \"" + value + "\", yes, yes, 5, 0)";
}

inline std::string mem_set(const std::string &key, const std::string &value)
{
    return "libselvar_set_value(mem, default, " + key + ", 1, \"" + value + "\", yes, yes, 5, 0)";
}

inline std::string mem_set_number(const std::string &key, uint64_t value)
{
    return "libselvar_set_value(mem, default, " + key + ", 5, " + std::to_string(value) + ", yes, yes, 5, 0)";
}

inline const std::string nvram_sync = "libselvar_sync(nvram, none, none, 0, 0)";
inline const std::string nvram_reset =
    "libselvar_other(reset, nvram, default, null, 1, null, yes, yes, 5, 0)";

inline std::string led(int index, int brightness, int mode, int on_ms, int off_ms, int priority)
{
    return "torvu_led_control(" + std::to_string(index) + ", " + std::to_string(brightness) + ", " +
           std::to_string(mode) + ", " + std::to_string(on_ms) + ", " + std::to_string(off_ms) + ", " +
           std::to_string(priority) + ")";
}

inline std::string led_priority(int priority)
{
    return "torvu_led_setpriority(" + std::to_string(priority) + ")";
}

// What a send on the cloud client's socket looks like.
inline std::string to_cloud(const std::string &text)
{
    return "send(" + std::to_string(kit.otd_sock) + ", " + text + ")";
}
