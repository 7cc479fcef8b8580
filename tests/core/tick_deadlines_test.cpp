// SPDX-License-Identifier: MIT
// What the tick does when its time has come: the reset key, the reboot, the end of a binding and of a
// rotation.
#include "handlers/maintenance.h"
#include "sound/sound.h"
#include "tick_desk.h"

#include "fakes/files.h"

#include <csignal>

// The head has just moved, so that the ticks leave the player alone: whatever is left is the case's.
struct deadline : tick {
    deadline()
    {
        motor_time = static_cast<int64_t>(platform.realtime_ms);
    }

    static texts story_at(uint32_t second)
    {
        ticks_at(second);
        return story();
    }
};

TEST_F(deadline, with_nothing_due_leaves_no_trace)
{
    EXPECT_EQ(story_at(1001), texts{});
}

static const std::string resets = "info: Reset key detected\n";

struct held_key : deadline {
    held_key()
    {
        kit.key_press_time = 1000;
    }
};

TEST_F(held_key, for_a_second_does_nothing)
{
    EXPECT_EQ(story_at(1001), texts{});
    EXPECT_EQ(kit.key_press_time, 1000U);
}

TEST_F(held_key, for_two_seconds_resets_the_camera_and_then_reports_it)
{
    ticks_at(1002);
    script_has_ended();
    EXPECT_TRUE(in_order({ resets, nvram_reset, mem_set("dev_status", "reset"),
                           "info: kit_reboot(), reset done and reboot 5s later...\n",
                           "info: Run: /mnt/data/bin/log2tf.sh\n",
                           R"(report_stat_object("camwarden.info", {"type":0}))" }));
    EXPECT_EQ(kit.key_press_time, 0U);
    EXPECT_EQ(kit.reboot_time, 1002U);
}

TEST_F(held_key, that_stays_held_resets_once)
{
    ticks_at(1002);
    script_has_ended();
    EXPECT_EQ(story_at(1003), texts{});
}

TEST_F(held_key, and_released_does_nothing)
{
    kit.key_press_time = 0;
    EXPECT_EQ(story_at(1002), texts{});
}

TEST_F(held_key, that_is_released_as_the_clock_is_read_does_nothing)
{
    platform.on_clock = [readings = 0]() mutable {
        if (++readings == 2) // the key's check
            shared(kit.key_press_time).store(0);
    };
    EXPECT_EQ(story_at(1002), texts{});
    EXPECT_EQ(kit.key_press_time, 0U);
}

TEST_F(held_key, across_the_wrap_of_the_clock_counts_on)
{
    kit.key_press_time = UINT32_MAX;
    kit.time_set_at = 1; // so that second 0 is no moment to ask for the time
    ticks_at(0);
    EXPECT_FALSE(logged(resets));
    ticks_at(1);
    EXPECT_TRUE(logged(resets));
    script_has_ended();
}

TEST_F(held_key, during_an_update_does_nothing_but_log_and_reports_nothing)
{
    kit.ota = 1;
    EXPECT_EQ(story_at(1002), (texts{ resets, "err: device is otaing, don't allow reboot!\n" }));
    EXPECT_EQ(kit.key_press_time, 0U);
    EXPECT_EQ(kit.reboot_time, 0U);
}

static const std::string terminates = "kill(1, " + std::to_string(SIGTERM) + ")";

struct pending_reboot : deadline {
    pending_reboot()
    {
        kit.reboot_time = 1000;
    }
};

TEST_F(pending_reboot, waits_five_seconds)
{
    EXPECT_EQ(story_at(1004), texts{});
    EXPECT_EQ(story_at(1005), (texts{ "sync()", terminates }));
}

TEST_F(pending_reboot, is_asked_for_again_until_the_process_ends)
{
    ticks_at(1005);
    EXPECT_EQ(story_at(1006), (texts{ "sync()", terminates }));
}

TEST_F(pending_reboot, during_an_update_is_dropped_and_not_retried)
{
    kit.ota = 1;
    EXPECT_EQ(story_at(1004), texts{});
    EXPECT_EQ(story_at(1005), texts{ "err: device is otaing, don't allow reboot!\n" });
    EXPECT_EQ(kit.reboot_time, 0U);
    kit.ota = 0;
    EXPECT_EQ(story_at(1006), texts{});
}

TEST_F(pending_reboot, that_nobody_asked_for_does_not_come)
{
    kit.reboot_time = 0;
    EXPECT_EQ(story_at(1005), texts{});
}

struct reboot_without_cloud : deadline {
    reboot_without_cloud()
    {
        strcpy(language, "en");
        prompts.has("en/booting", "boot");
        bus.player_listens = true;
        kit.sound_fd = sound_init(nullptr);
        kit.otd_sock = 0;
        kit.reconnect_time = 1001; // the link's turn comes after the reboot's
    }
    ~reboot_without_cloud() override
    {
        sound_exit();
    }

    static void is_asked_for()
    {
        at(1000);
        kit_reboot();
        script_has_ended();
        EXPECT_TRUE(logged("warning: kit_reboot(), otd_sock not ready: 0\n"));
        EXPECT_EQ(kit.rebooting, 1);
    }

    static void comes_five_seconds_later()
    {
        EXPECT_EQ(story_at(1004), texts{});
        EXPECT_EQ(story_at(1005), (texts{ "sync()", terminates }));
    }

    prompt_folder prompts;
};

TEST_F(reboot_without_cloud, is_spoken_at_once_and_comes_five_seconds_later)
{
    is_asked_for();
    EXPECT_EQ(bus_texts(), texts{ "boot" });
    comes_five_seconds_later();
    EXPECT_EQ(bus_texts(), texts{ "boot" }) << "once";
}

TEST_F(reboot_without_cloud, keeps_its_prompt_for_a_player_that_is_late)
{
    bus_send_fails(1);
    is_asked_for();
    EXPECT_EQ(bus_texts(), texts{});
    comes_five_seconds_later();
    bus_player_connects();
    EXPECT_EQ(sound_recv(), 0);
    EXPECT_EQ(bus_texts(), texts{ "boot" });
}

struct waited_binding : deadline {
    waited_binding()
    {
        kit.bind_wait_time = 1000;
        kit.time_set_at = 2000; // the clock is good for the next half hour
        kit.ircut_report_time = 2700;
    }
};

TEST_F(waited_binding, takes_the_network_down_after_half_an_hour)
{
    EXPECT_EQ(story_at(2799), texts{});
    EXPECT_EQ(story_at(2800),
              (texts{ "info: Binding timeout!\n", R"(system("ifconfig wlan0 down"))", led(0, 0, 1, 0, 0, 2),
                      led(1, 50, 2, 100, 200, 2), mem_set("bind_timeout", "1") }));
    EXPECT_EQ(kit.bind_wait_time, 0U);
    EXPECT_EQ(story_at(2801), texts{});
}

TEST_F(waited_binding, that_succeeded_has_no_time_out)
{
    kit.bind_wait_time = 0;
    EXPECT_EQ(story_at(2800), texts{});
}

TEST_F(waited_binding, goes_on_when_the_command_fails)
{
    libc.system_result = -1;
    ticks_at(2800);
    EXPECT_TRUE(called(mem_set("bind_timeout", "1")));
    EXPECT_EQ(kit.bind_wait_time, 0U);
}

struct running_rotation : deadline {
    running_rotation()
    {
        kit.track_time = 1000;
        kit.tracking = 1;
        motor_position_h = 12;
        motor_position_v = 34;
        motor_time = 0;
    }

    static inline const std::string goes_back = R"(torvu_motor_control(11, "[12,34]", 16))";
};

TEST_F(running_rotation, is_stopped_after_five_seconds)
{
    ticks_at(1004);
    EXPECT_FALSE(log_mentions("rotate = "));
    ticks_at(1005);
    EXPECT_TRUE(in_order({ "err: rotate = stop\n", goes_back }));
    EXPECT_EQ(kit.track_time, 0U);
    EXPECT_EQ(kit.tracking, 0);
    ticks_at(1006);
    EXPECT_FALSE(log_mentions("rotate = "));
}

TEST_F(running_rotation, that_is_refused_its_stop_is_asked_every_second)
{
    motor_time = static_cast<int64_t>(platform.realtime_ms);
    for (uint32_t second : { 1005U, 1006U }) {
        EXPECT_EQ(story_at(second),
                  (texts{ "err: rotate = stop\n", "err: motor is moving , can't reset position.\n" }));
        EXPECT_EQ(kit.track_time, 1000U);
    }
    platform.realtime_ms += 5000;
    ticks_at(1010);
    EXPECT_TRUE(called(goes_back));
}

TEST_F(running_rotation, that_begins_as_the_clock_is_read_is_not_stopped)
{
    kit.track_time = 1005;
    ticks_at(1005);
    EXPECT_FALSE(log_mentions("rotate = "));
}

// Between two checks of one tick a second may pass.
TEST_F(deadline, each_check_reads_the_clock_anew)
{
    kit.reboot_time = 1000;
    kit.time_set_at = 1;
    platform.on_clock = [] { platform.monotonic_s++; };
    ticks_at(1003);
    EXPECT_TRUE(called(terminates)) << "the second check of the clock finds it two seconds on";
}

// Everything at once, in the order of the steps.
TEST_F(deadline, the_jobs_come_in_their_order)
{
    kit.key_press_time = 990;
    kit.reboot_time = 990;
    kit.bind_wait_time = 1000;
    kit.track_time = 990;
    kit.ircut_report_time = 0;
    kit.sysinfo_due = 1;
    kit.status_received = 0;
    motor_time = 0;
    ticks_at(2800);
    script_has_ended();
    EXPECT_TRUE(in_order({ to_cloud(time_query),
                           to_cloud(R"({"id":502,"method":"local.query_status","params":null})"), resets,
                           R"(report_stat_object("camwarden.info", {"type":0}))", "info: Binding timeout!\n",
                           "err: rotate = stop\n", "info: ircut_report count is 0, don't need report!\n",
                           "err: sound unban wrax msg handle have not been created!\n" }));
    EXPECT_EQ(calls_of("kill"), texts{}) << "the key has asked for a new reboot";
}
