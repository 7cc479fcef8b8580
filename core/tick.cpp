// SPDX-License-Identifier: MIT
#include "core/tick.h"

#include "core/camwarden.h"
#include "core/dispatcher.h"
#include "core/kit.h"
#include "core/otd_link.h"
#include "libkivo_util.h"
#include "sound/sound.h"
#include "spec/service.h"
#include "util/children.h"
#include "util/send_text.h"

#include <cstdio>
#include <unistd.h>

constexpr uint32_t clock_good_s = 1800;
constexpr uint32_t clock_unset_mask = 15; // every 16 s
constexpr uint32_t cloud_pause_s = 5;
constexpr uint64_t sound_ban_ms = 1000; // behind the last movement
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
    lift_sound_ban();
    return 0;
}
