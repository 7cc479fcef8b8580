// SPDX-License-Identifier: MIT
// Start-up and orderly shutdown: what happens in which order, and what is missing when a neighbour is.
#include "core/camwarden.h"
#include "core/otd_link.h"
#include "life_desk.h"
#include "module_in_table.h"

#include <signal.h>
#include <sys/timerfd.h>
#include <unistd.h>

static const char first_registration[] =
    "libselvar_register_notification(mem, default, led_cmd, yes, yes, yes, 0, 0)";
static const char last_registration[] =
    "libselvar_register_notification(nvram, default, loud_detection_enable, yes, yes, yes, 0, 0)";

static std::string timer_line(int fd)
{
    return "debug: Timer fd: " + std::to_string(fd) + ", interval: 1000 ms\n";
}

TEST_F(life, starts_in_its_order)
{
    EXPECT_EQ(camwarden_main(), 0);
    const std::string timer = std::to_string(running.timer_fd);
    EXPECT_EQ(story().front(), "info: device kit call\n");
    EXPECT_TRUE(in_order({ "info: device kit call\n", "wrax_rcv_global_init()",
                           R"(wrax_rcv_create("/run/audio_play"))", "wrax_rcv_start()",
                           "connect(127.0.0.1:54320)", "rand_range(3600, 21600)",
                           "timerfd_create(" + std::to_string(CLOCK_MONOTONIC) + ", " +
                               std::to_string(TFD_NONBLOCK | TFD_CLOEXEC) + ")",
                           timer_line(running.timer_fd), "timer_start(" + timer + ", 1000, 1000)",
                           "libselvar_config_open(0)", first_registration, last_registration,
                           mem_set("dev_status", "starting"), "torvu_camwarden_init(yes)" }));
    EXPECT_TRUE(log_mentions("debug: main() "));
    EXPECT_TRUE(log_mentions(" the modult cnt=0"));
}

TEST_F(life, ends_in_its_order)
{
    camwarden_main();
    EXPECT_TRUE(in_order({ "torvu_camwarden_init(yes)",
                           "libselvar_unregister_notification(mem, default, led_cmd, 140, none, none, 0, 0)",
                           "libselvar_unregister_notification(nvram, default, power, 140, none, none, 0, 0)",
                           "libselvar_close()", "torvu_camwarden_exit()", "wrax_rcv_global_exit()" }));
    EXPECT_EQ(calls_of("wrax_rcv_destroy").size(), 1U) << "of the start that failed";
    EXPECT_EQ(kit.mc_fd, 0);
    EXPECT_EQ(store_open_handles(), 0);
    EXPECT_FALSE(log_mentions("goodbye"));
}

TEST_F(life, without_cloud_client_and_player_runs_with_timer_and_store_alone)
{
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_EQ(running.otd_sock, -1);
    EXPECT_EQ(running.sound_fd, -1);
    EXPECT_TRUE(in_order({ "err: wrax_rcv_start fialed!\n",
                           "warning: Fail to start sound player. retry after 1 sec!\n",
                           "connect(127.0.0.1:54320)" }));
    EXPECT_EQ(running.nfds, 2);
    EXPECT_EQ(running.pollfds[0].fd, running.timer_fd);
    EXPECT_EQ(running.pollfds[1].fd, running.mc_fd);
    EXPECT_EQ(running.pollfds[0].events, POLLIN);
    EXPECT_EQ(running.pollfds[1].events, POLLIN);
}

TEST_F(life, with_the_player_polls_it_before_all_others)
{
    cloud_listener listener;
    bus.player_listens = true;
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_EQ(running.sound_fd, 60);
    EXPECT_EQ(running.nfds, 4);
    EXPECT_EQ(running.pollfds[0].fd, 60);
    EXPECT_EQ(running.pollfds[0].events, POLLIN);
    EXPECT_EQ(running.pollfds[1].fd, running.otd_sock);
    EXPECT_EQ(running.pollfds[2].fd, running.timer_fd);
    EXPECT_EQ(running.pollfds[3].fd, running.mc_fd);
    EXPECT_FALSE(log_mentions("Fail to start sound player"));
}

TEST_F(life, with_the_player_ends_its_link_between_the_device_kit_and_the_bus)
{
    bus.player_listens = true;
    camwarden_main();
    EXPECT_TRUE(in_order(
        { "libselvar_close()", "torvu_camwarden_exit()", "wrax_rcv_destroy()", "wrax_rcv_global_exit()" }));
    EXPECT_EQ(bus_receivers(), 0);
}

TEST_F(life, logs_what_the_player_says)
{
    bus.player_listens = true;
    libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        bus_player_says("header-of-12", "playing");
        sound_close_retry();
        return -1;
    };
    camwarden_main();
    EXPECT_TRUE(logged("info: sound_notify_handler key: header-of-12playing, msg: playing\n"));
}

TEST_F(life, with_the_cloud_client_but_no_player_polls_it_first)
{
    cloud_listener listener;
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_GT(running.otd_sock, 0);
    EXPECT_EQ(running.nfds, 3);
    EXPECT_EQ(running.pollfds[0].fd, running.otd_sock);
    EXPECT_EQ(running.pollfds[1].fd, running.timer_fd);
    EXPECT_EQ(running.pollfds[2].fd, running.mc_fd);
    const size_t methods = register_keys.size();
    EXPECT_EQ(sends().size(), methods);
    EXPECT_TRUE(in_order({ "info: register_key(),keys_num is " + std::to_string(methods) + "\n",
                           "debug: OTD sockfd: " + std::to_string(running.otd_sock) + "\n",
                           timer_line(running.timer_fd) }));
}

TEST_F(life, closes_the_timer_and_then_the_cloud_socket)
{
    cloud_listener listener;
    libc.on_poll = [this](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        running = kit;
        watch_close(kit.timer_fd);
        watch_close(kit.otd_sock);
        return -1;
    };
    camwarden_main();
    EXPECT_TRUE(in_order({ "libselvar_close()", "close(" + std::to_string(running.timer_fd) + ")",
                           "close(" + std::to_string(running.otd_sock) + ")", "torvu_camwarden_exit()" }));
}

struct life_that_ends_without : life, testing::WithParamInterface<int> {};

TEST_P(life_that_ends_without, timer_and_cloud_socket_closes_neither)
{
    libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        close(kit.timer_fd);
        kit.timer_fd = GetParam();
        kit.otd_sock = GetParam();
        watch_close(GetParam());
        return -1;
    };
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_EQ(calls_of("close"), texts{});
    EXPECT_TRUE(in_order({ "libselvar_close()", "torvu_camwarden_exit()" }));
}

INSTANTIATE_TEST_SUITE_P(descriptors, life_that_ends_without, testing::Values(0, -1));

TEST_F(life, makes_the_texts_of_motion_detection_ready)
{
    camwarden_main();
    EXPECT_STREQ(motion_alarm_cfg, "[0,5,0,0,0,0,5]");
    EXPECT_STREQ(motion_region_cfg, "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3]");
}

TEST_F(life, draws_the_moment_of_the_first_system_report)
{
    platform.rand_range_result = 3700;
    camwarden_main();
    EXPECT_EQ(running.sysinfo_due, 1001U + 3700U);
    EXPECT_EQ(running.ircut_report_time, 1001U);
}

TEST_F(life, ignores_a_broken_pipe_and_handles_the_interrupt)
{
    camwarden_main();
    struct sigaction now = {};
    sigaction(SIGPIPE, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, &kit_sigint_handler);
}

TEST_F(life, gives_the_device_kit_the_event_callback)
{
    int pressed = 0;
    libc.on_poll = [&](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        platform.device_event(1, &pressed);
        return -1;
    };
    camwarden_main();
    EXPECT_TRUE(logged("info: event callback key: 0\n"));
}

TEST_F(life, gives_the_store_the_notification_handler)
{
    libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        store_notify_text("nvram", "flip", "on");
        selvar_nvram_response();
        return -1;
    };
    camwarden_main();
    EXPECT_EQ(kit.flip, 1);
}

TEST_F(life, without_a_store_ends_at_once_with_result_0)
{
    store.open_fails = true;
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_TRUE(in_order({ "err: libselvar_open faild.\n", "err: Fail to start selvar.",
                           "torvu_camwarden_exit()", "wrax_rcv_global_exit()" }));
    EXPECT_EQ(calls_of("torvu_camwarden_init"), texts{});
    EXPECT_EQ(calls_of("libselvar_unregister_notification"), texts{});
    EXPECT_EQ(running.nfds, 0) << "the loop was not entered";
}

TEST_F(life, without_a_timer_ends_at_once_with_result_minus_1)
{
    libc.timerfd_fails = true;
    EXPECT_EQ(camwarden_main(), -1);
    EXPECT_TRUE(
        in_order({ "err: timer_setup() fail, quit.\n", "torvu_camwarden_exit()", "wrax_rcv_global_exit()" }));
    EXPECT_EQ(calls_of("libselvar_config_open"), texts{});
    EXPECT_EQ(calls_of("timer_start"), texts{});
    EXPECT_EQ(calls_of("torvu_camwarden_init"), texts{});
}

static int32_t init_result;

static int32_t module_starts(void *argument)
{
    record_call("module init(%s)", argument == nullptr ? "null" : "something");
    return init_result;
}

static void module_ends(void *argument)
{
    record_call("module exit(%s)", argument == nullptr ? "null" : "something");
}

static struct module lamp()
{
    struct module entry = module_with_methods("lamp", nullptr, 0);
    entry.init = module_starts;
    entry.exit = module_ends;
    return entry;
}

struct life_with_a_module : life {
    life_with_a_module() : entered(lamp())
    {
        init_result = 0;
    }

    module_in_table entered;
};

TEST_F(life_with_a_module, starts_it_after_the_device_kit_and_ends_it_last)
{
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_TRUE(log_mentions(" the modult cnt=1"));
    EXPECT_TRUE(
        in_order({ "torvu_camwarden_init(yes)", "info: *******kivo_device include 1 lamp function*****",
                   "module init(null)", "wrax_rcv_global_exit()", "module exit(null)" }));
    EXPECT_EQ(running.nfds, 2) << "the loop was entered";
}

TEST_F(life_with_a_module, that_fails_to_start_ends_with_its_result)
{
    init_result = 17;
    EXPECT_EQ(camwarden_main(), 17);
    EXPECT_TRUE(in_order({ "module init(null)", "err: 1 init error", "libselvar_close()",
                           "torvu_camwarden_exit()", "module exit(null)" }));
    EXPECT_EQ(running.nfds, 0) << "the loop was not entered";
}

TEST_F(life_with_a_module, without_a_store_runs_the_exit_hook_although_no_init_ran)
{
    store.open_fails = true;
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_EQ(calls_of("module init"), texts{});
    EXPECT_EQ(calls_of("module exit"), texts{ "module exit(null)" });
}

TEST_F(life_with_a_module, without_a_timer_runs_the_exit_hook_too)
{
    libc.timerfd_fails = true;
    EXPECT_EQ(camwarden_main(), -1);
    EXPECT_EQ(calls_of("module exit"), texts{ "module exit(null)" });
}

TEST_F(life_with_a_module, that_has_no_hooks_is_only_announced)
{
    module_table[0].init = nullptr;
    module_table[0].exit = nullptr;
    EXPECT_EQ(camwarden_main(), 0);
    EXPECT_TRUE(logged("info: *******kivo_device include 1 lamp function*****"));
    EXPECT_EQ(calls_of("module exit"), texts{});
}
