// SPDX-License-Identifier: MIT
// Three threads at once: main with its messages, notifications and ticks, the rotation worker, and the device
// kit's own, which calls back while it holds a lock that every call into the kit takes too. ThreadSanitizer
// looks on; a deadlock would end the case from outside.
#include "core/dispatcher.h"
#include "core/events.h"
#include "core/notify.h"
#include "core/tick.h"

#include "fakes/channel_desk.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <mutex>
#include <thread>

struct three_threads : channel_desk {
    three_threads()
    {
        platform.on_kit_call = [this] { std::lock_guard<std::mutex> held(kit_lock); };
        kit.timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        kit.sound_fd = 99;
        kit.mc_fd = selvar_nvram_init(selvar_notify_handler);
        kit.otd_sock = 0;
        kit.reconnect_time = platform.monotonic_s;
        kit.sysinfo_due = UINT32_MAX;
        kit.ircut_report_time = platform.monotonic_s;
        selvar_register_keys();
    }
    ~three_threads() override
    {
        worker_ends();
        selvar_nvram_exit();
        close(kit.timer_fd);
    }

    void kit_reports(int event, std::string text)
    {
        std::lock_guard<std::mutex> held(kit_lock);
        device_event_callback(event, text.data());
    }

    // Until main has done all of its own.
    void kit_reports_on_and_on()
    {
        while (!main_is_done) {
            kit_reports(3, "[1,30,40]");
            kit_reports(2, "[50,60]");
            int released = 0;
            std::lock_guard<std::mutex> held(kit_lock);
            device_event_callback(1, &released);
        }
    }

    static void stored(const char *key, const char *value)
    {
        store_notify_text("mem", key, value);
        selvar_nvram_response();
    }

    static void sent(const std::string &operation)
    {
        const std::string text =
            R"({"id":7,"method":"set_motor","params":{"operation":)" + operation + R"(,"location":[1,2]}})";
        msg_dispatcher(text.c_str(), static_cast<int>(text.size()), 0, 0);
    }

    static void main_does_everything_once()
    {
        stored("track_switch", "on");
        stored("motor_cmd", "[1,1,0]");
        stored("track", "[30,-15,0]");
        store_notify_text("nvram", "flip", "on");
        store_notify_text("nvram", "motor", "[10,20]");
        selvar_nvram_response();
        for (const char *operation : { "1", "5", "6" })
            sent(operation);
        shared(platform.monotonic_s).store(platform.monotonic_s + 5);
        shared(platform.realtime_ms).store(platform.realtime_ms + 5000);
        kit.reconnect_time = platform.monotonic_s;
        tick_handler(kit.timer_fd);
        stored("track", "stop");
    }

    // The rounds come to it only when the other threads let them: the worker may be busy at each of their
    // ticks.
    static bool stops_what_is_overdue()
    {
        shared(kit.track_time).store(platform.monotonic_s - 5);
        tick_handler(kit.timer_fd);
        return static_cast<bool>(log_mentions("rotate = stop"));
    }

    std::mutex kit_lock;
    std::atomic<bool> main_is_done = false;
};

TEST_F(three_threads, share_what_they_share)
{
    worker_runs();
    std::thread kits_own([this] { kit_reports_on_and_on(); });
    for (int round = 0; round < 60; round++) {
        main_does_everything_once();
        posts("[5,-5,0]");
    }
    main_is_done = true;
    kits_own.join();
    EXPECT_TRUE(ends([] { return pending() == 0; }));
    EXPECT_TRUE(log_mentions("rotate = [5,-5,0]"));
    EXPECT_TRUE(ends([] { return stops_what_is_overdue(); }));
    EXPECT_GE(calls_of("torvu_motor_control").size(), 240U) << "four of main in each round";
}
