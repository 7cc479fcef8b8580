// SPDX-License-Identifier: MIT
#include "core/camwarden.h"

#include "core/dispatcher.h"
#include "core/events.h"
#include "core/loop.h"
#include "core/notify.h"
#include "core/otd_link.h"
#include "core/pollset.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "libwrax.h"
#include "modules/module.h"
#include "sound/sound.h"
#include "store/selvar_nvram.h"
#include "util/text.h"

#include <sys/timerfd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

constexpr int tick_ms = 1000;
constexpr int sysinfo_first_min_s = 3600;
constexpr int sysinfo_first_max_s = 21600;
constexpr int vanished_pause_us = 100000; // keeps a peer that vanished from spinning the loop

static const char motion_alarm_default[] = "[0,5,0,0,0,0,5]";
static const char motion_region_default[] =
    "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3]";

void selvar_close(void)
{
    if (kit.mc_fd <= 0)
        return;
    if (!pollset_remove(kit.mc_fd))
        log_warning("kit.mc_fd (%d) not in pollfds.\n", kit.mc_fd);
    selvar_nvram_exit();
    kit.mc_fd = 0;
}

int selvar_close_retry(void)
{
    if (selvar_nvram_response() < 0) {
        log_debug("selvar_close_retry\n");
        usleep(vanished_pause_us);
        selvar_close();
    }
    return 0;
}

void selvar_connect_retry(void)
{
    log_warning("Retry connecting to selvar...\n");
    kit.reconnect_time = time_monotonic();
    kit.mc_fd = selvar_nvram_init(selvar_notify_handler);
    if (kit.mc_fd < 1)
        return;
    log_info("Connected to selvar.\n");
    pollset_write(kit.mc_fd);
    log_info("selvar sockfd: %d\n", kit.mc_fd);
    pollset_count();
    selvar_register_keys();
    pollset_check_limit(__FILE__, __LINE__);
}

// The player has nothing to say that the daemon would act on.
static int sound_notify_handler(const char *key, const char *msg)
{
    log_info("sound_notify_handler key: %s, msg: %s\n", key, msg);
    return 0;
}

void sound_close(void)
{
    if (kit.sound_fd <= 0)
        return;
    if (!pollset_remove(kit.sound_fd))
        log_warning("kit.sound_fd (%d) not in pollfds.\n", kit.otd_sock); // this number, of old
    sound_exit();
    kit.sound_fd = 0;
}

int sound_close_retry(void)
{
    if (sound_recv() < 0) {
        log_debug("sound_close_retry\n");
        usleep(vanished_pause_us);
        sound_close();
    }
    return 0;
}

void sound_connect_retry(void)
{
    log_warning("Retry connecting to sound wrax...\n");
    kit.reconnect_time = time_monotonic();
    kit.sound_fd = sound_init(sound_notify_handler);
    if (kit.sound_fd < 1)
        return;
    log_info("Connected to sound wrax.\n");
    pollset_write(kit.sound_fd);
    log_info("sound sockfd: %d\n", kit.sound_fd);
    pollset_count();
    pollset_check_limit(__FILE__, __LINE__);
}

static void close_if_open(int &fd)
{
    if (fd > 0)
        close(fd);
    fd = 0;
}

// What both ways of ending share. The feature modules' exit hooks belong to the orderly one only.
static void release_links(bool store_open)
{
    shared(kit.exiting).store(1); // the rotation worker no longer waits for the head
    if (store_open) {
        selvar_unregister_keys();
        selvar_nvram_exit();
        kit.mc_fd = 0;
    }
    close_if_open(kit.timer_fd);
    close_if_open(kit.otd_sock);
    torvu_camwarden_exit();
    sound_exit();
    wrax_rcv_global_exit();
}

void kit_sigint_handler(int)
{
    release_links(true);
    log_info("kivo_camwarden says goodbye!\n");
    exit(-1);
}

static void take_signals(void)
{
    loop_block_sigint();
    struct sigaction on_interrupt = {};
    on_interrupt.sa_handler = kit_sigint_handler;
    sigaction(SIGINT, &on_interrupt, nullptr);

    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
}

static void start_sound_link(void)
{
    kit.sound_fd = sound_init(sound_notify_handler);
    if (kit.sound_fd > 0)
        pollset_add(kit.sound_fd);
    else
        log_warning("Fail to start sound player. retry after 1 sec!\n");
}

static void start_cloud_link(void)
{
    kit.otd_sock = otd_connect();
    if (kit.otd_sock <= 0)
        return;
    pollset_add(kit.otd_sock);
    log_debug("OTD sockfd: %d\n", kit.otd_sock);
}

static bool start_timer(void)
{
    kit.timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (kit.timer_fd < 1) {
        log_err("timer_setup() fail, quit.\n");
        return false;
    }
    pollset_add(kit.timer_fd);
    log_debug("Timer fd: %d, interval: %d ms\n", kit.timer_fd, tick_ms);
    timer_start(kit.timer_fd, tick_ms, tick_ms);
    return true;
}

static bool start_store(void)
{
    kit.mc_fd = selvar_nvram_init(selvar_notify_handler);
    if (kit.mc_fd < 1) {
        log_err("Fail to start selvar.");
        return false;
    }
    pollset_add(kit.mc_fd);
    selvar_register_keys();
    selvar_mem_set_string("dev_status", "starting", 0);
    return true;
}

static int start_modules(void)
{
    log_debug("%s() %d the modult cnt=%d", "main", __LINE__, module_count);
    for (int i = 0; i < module_count; i++) {
        const module &feature = module_table[i];
        log_info("*******kivo_device include %d %s function*****", i + 1, feature.name);
        int result = feature.init ? feature.init(nullptr) : 0;
        if (result != 0) {
            char number[12];
            snprintf(number, sizeof number, "%d", i + 1);
            log_err("%s init error", number);
            return result;
        }
    }
    return 0;
}

// Runs until the daemon is to end; the result becomes the exit status.
static int start_and_run(void)
{
    log_info("device kit call\n");
    take_signals();
    wrax_rcv_global_init();
    start_sound_link();
    start_cloud_link();
    kit.sysinfo_due =
        time_monotonic() + static_cast<uint32_t>(rand_range(sysinfo_first_min_s, sysinfo_first_max_s));
    kit.ircut_report_time = time_monotonic();
    if (!start_timer())
        return -1;
    text_copy(motion_alarm_cfg, sizeof motion_alarm_cfg, motion_alarm_default);
    text_copy(motion_region_cfg, sizeof motion_region_cfg, motion_region_default);
    if (!start_store())
        return 0;
    torvu_camwarden_init(device_event_callback);
    int result = start_modules();
    if (result != 0)
        return result;
    loop_run();
    return 0;
}

int camwarden_main(void)
{
    int result = start_and_run();
    release_links(kit.mc_fd > 0);
    for (int i = 0; i < module_count; i++)
        if (module_table[i].exit)
            module_table[i].exit(nullptr);
    return result;
}
