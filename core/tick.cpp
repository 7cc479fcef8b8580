// SPDX-License-Identifier: MIT
#include "core/tick.h"

#include "core/camwarden.h"
#include "core/dispatcher.h"
#include "core/kit.h"
#include "core/otd_link.h"
#include "handlers/leds.h"
#include "handlers/maintenance.h"
#include "handlers/statistics.h"
#include "libkivo_util.h"
#include "motor/rotation.h"
#include "sound/sound.h"
#include "spec/service.h"
#include "store/selvar_nvram.h"
#include "util/children.h"
#include "util/send_text.h"
#include "util/shell.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

constexpr uint32_t clock_good_s = 1800;
constexpr uint32_t clock_unset_mask = 15; // every 16 s
constexpr uint32_t cloud_pause_s = 5;
constexpr uint32_t key_held_s = 2;
constexpr uint32_t reboot_pause_s = 5;
constexpr uint32_t bind_wait_s = 1800;
constexpr uint32_t rotation_s = 5;
constexpr uint32_t ircut_period_s = 1200;
constexpr uint32_t report_gap_s = 361; // between any report and that of the system
constexpr uint32_t system_period_s = 86400;
constexpr uint64_t sound_ban_ms = 1000; // behind the last movement
constexpr pid_t first_process = 1;
constexpr size_t query_size = 1024;

// method is a literal of this file.
static int send_query(const char *function, const char *method)
{
    char text[query_size] = {};
    snprintf(text, sizeof text, "{\"id\":%d,\"method\":\"%s\",\"params\":null}", generate_random_id(),
             method);
    if (kit.otd_sock < 1)
        log_warning("%s(), otd_sock not ready: %d\n", function, kit.otd_sock);
    return send_text(kit.otd_sock, text);
}

int otd_status_check(void)
{
    return send_query(__func__, "local.query_status");
}

int time_sync(void)
{
    return send_query(__func__, "local.query_time");
}

// Whether the seconds have passed since a moment; 0 is none. The moment is taken before the clock is read, so
// that one that another thread sets meanwhile never lies ahead of it.
static bool has_passed(uint32_t since, uint32_t seconds)
{
    return since != 0 && time_monotonic() - since >= seconds;
}

static void keep_clock(void)
{
    uint32_t now = time_monotonic();
    bool due = kit.time_set_at ? now - kit.time_set_at >= clock_good_s : (now & clock_unset_mask) == 0;
    if (due)
        time_sync();
}

static void bring_back_cloud(void)
{
    if (kit.otd_sock >= 1 || time_monotonic() - kit.reconnect_time < cloud_pause_s)
        return;
    otd_connect_retry();
    nubo_spec_init(g_did, kit.otd_sock, msg_dispatcher);
}

static void bring_back_sound(void)
{
    if (kit.sound_fd < 1 && kit.ota != 1 && time_monotonic() != kit.reconnect_time)
        sound_connect_retry();
}

static void bring_back_store(void)
{
    if (kit.mc_fd < 1 && time_monotonic() != kit.reconnect_time)
        selvar_connect_retry();
}

static void ask_status(void)
{
    if (kit.otd_sock > 0 && kit.status_received != 1)
        otd_status_check();
}

static void reset_when_key_is_held(void)
{
    auto key_press_time = shared(kit.key_press_time);
    uint32_t pressed = key_press_time.load();
    bool held = has_passed(pressed, key_held_s);
    if (!held || !key_press_time.compare_exchange_strong(pressed, 0)) // or released at this moment
        return;
    log_info("Reset key detected\n");
    reset_to_factory();
    if (kit.ota != 1)
        report_stat(stat_key_reset);
}

static void carry_out_reboot(void)
{
    if (!has_passed(kit.reboot_time, reboot_pause_s))
        return;
    if (reboot_refused_by_update()) {
        kit.reboot_time = 0;
        return;
    }
    sync();
    kill(first_process, SIGTERM);
}

static void end_binding(void)
{
    if (!has_passed(kit.bind_wait_time, bind_wait_s))
        return;
    log_info("Binding timeout!\n");
    shell_run("ifconfig wlan0 down"); // a network that stays up is no reason to stop
    leds_show(led_pattern_name::bind_timeout);
    selvar_mem_set_string("bind_timeout", "1", 0);
    kit.bind_wait_time = 0;
}

// Repeated every second until the head has been sent back.
static void end_rotation(void)
{
    if (has_passed(shared(kit.track_time).load(), rotation_s))
        shm_message(0, "stop");
}

static void report_ircut_switches(void)
{
    if (time_monotonic() - kit.ircut_report_time < ircut_period_s)
        return;
    if (kit.night_count >= 1) {
        report_ircut();
        log_info("ircut_report count is %d.\n", kit.night_count);
        kit.night_count = 0;
    } else {
        log_info("ircut_report count is 0, don't need report!\n");
    }
    kit.ircut_report_time = time_monotonic();
}

// A day later the next one is due, also when this one failed.
static void report_system_daily(void)
{
    uint32_t now = time_monotonic();
    if (now - kit.stat_report_time < report_gap_s || kit.sysinfo_due >= now)
        return;
    report_system();
    kit.sysinfo_due = now + system_period_s;
}

// Every tick without a recent movement unmutes: that also frees a player that a daemon before this one had
// muted. A clock that went back makes a huge difference. A movement of this very moment keeps its stamp.
static void lift_sound_ban(void)
{
    int64_t moved_at = shared(motor_time).load();
    if (moved_at != 0 && time_realtime_ms() - static_cast<uint64_t>(moved_at) < sound_ban_ms)
        return;
    sound_unban();
    shared(motor_time).compare_exchange_strong(moved_at, 0);
}

int tick_handler(int fd)
{
    uint64_t expirations = 0; // how many were missed does not matter
    [[maybe_unused]] ssize_t got = read(fd, &expirations, sizeof expirations);
    if (fd != kit.timer_fd) {
        log_warning("timer fd unknown: %d\n", fd);
        return 0;
    }
    child_reap();
    keep_clock();
    bring_back_cloud();
    bring_back_sound();
    bring_back_store();
    ask_status();
    reset_when_key_is_held();
    carry_out_reboot();
    end_binding();
    end_rotation();
    report_ircut_switches();
    report_system_daily();
    lift_sound_ban();
    return 0;
}
