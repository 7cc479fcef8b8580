// SPDX-License-Identifier: MIT
// Every allocation of the daemon, and every call that it makes of the platform and of the system, fails in
// turn: in a request, a notification, an event, a tick, and in a whole life.
#include "core/tick.h"
#include "core/watched_keys.h"
#include "failing_desk.h"
#include "motor/rotation.h"

#include <sys/timerfd.h>

#include <csignal>

// Links up, nothing due.
static void links_come_up()
{
    kit.timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    kit.mc_fd = selvar_nvram_init(selvar_notify_handler);
    kit.sound_fd = sound_init(nullptr);
    kit.otd_sock = otd_connect();
    for (int fd : { kit.timer_fd, kit.mc_fd, kit.sound_fd, kit.otd_sock })
        pollset_add(fd);
    strcpy(g_did, "1234567");
    strcpy(motion_alarm_cfg, "[9]");
    strcpy(motion_region_cfg, "[3]");
    nubo_spec_init(g_did, kit.otd_sock, msg_dispatcher);
    g_get_spec_id = 17;
}

static const char *const requests[] = {
    R"({"id":1,"method":"get_prop","params":["power","wdr","motion_alarm","motion_region","track"]})",
    R"({"id":1,"method":"set_power","params":["off"]})",
    R"({"id":1,"method":"set_light","params":["on"]})",
    R"({"id":1,"method":"set_flip","params":["on"]})",
    R"({"id":1,"method":"set_wdr","params":["on"]})",
    R"({"id":1,"method":"set_watermark","params":["off"]})",
    R"({"id":1,"method":"set_full_color","params":["on"]})",
    R"({"id":1,"method":"set_night_mode","params":[2]})",
    R"({"id":1,"method":"set_improve_program","params":["on"]})",
    R"({"id":1,"method":"set_motion_record","params":["stop"]})",
    R"({"id":1,"method":"setAlarmConfig","params":[[0,5,0,0,0,0,5]]})",
    R"({"id":1,"method":"getAlarmConfig","params":[]})",
    R"({"id":1,"method":"set_motion_region","params":[[3,3,3]]})",
    R"({"id":1,"method":"get_motion_region","params":[]})",
    R"({"id":1,"method":"set_motion_detection_enable","params":["on"]})",
    R"({"id":1,"method":"set_motor","params":{"operation":1}})",
    R"({"id":1,"method":"set_motor","params":{"operation":6,"location":[30,60]}})",
    R"({"id":1,"method":"alarm_sound","params":[]})",
    R"({"id":1,"method":"update_log","params":[]})",
    R"({"id":1,"method":"app_feedback_device_rpc","params":{"has_feedback":true}})",
    R"({"id":1,"method":"local.status","params":"internet_connected"})",
    R"({"id":1,"method":"local.status","params":"cloud_connected"})",
    R"({"id":1,"method":"local.bind","result":"ok"})",
    R"({"id":1,"method":"local.bind","result":"failed"})",
    R"({"id":1,"method":"local.did","params":7654321})",
    R"({"id":1,"method":"local.time","params":1700000000})",
    R"({"id":1,"method":"restart_device","params":[]})",
    R"({"id":1,"method":"kiVO.restore","params":[]})",
    R"({"id":1,"method":"kiVO.config_loglevel","params":{"loglevel":4}})",
    R"({"id":1,"method":"set_lsd_config","params":[{"lsd_switch":1,"lsd_push":1,"lsd_sensity":50}]})",
    R"({"id":1,"method":"get_lsd_config","params":[]})",
    R"({"id":1,"method":"get_properties","params":[{"did":"1234567","siid":2,"piid":1},)"
    R"({"siid":1,"piid":1},{"siid":1,"piid":4},{"siid":4,"piid":1},{"siid":4,"piid":2},)"
    R"({"siid":4,"piid":3},{"siid":4,"piid":4},{"siid":5,"piid":1},{"siid":5,"piid":2},)"
    R"({"siid":5,"piid":3},{"siid":10,"piid":2},{"siid":10,"piid":12},{"siid":99,"piid":1}]})",
    R"({"id":1,"method":"set_properties","params":[{"did":"1234567","siid":2,"piid":1,"value":false},)"
    R"({"siid":2,"piid":2,"value":180},{"siid":2,"piid":3,"value":0},{"siid":2,"piid":7,"value":2},)"
    R"({"siid":2,"piid":8,"value":true},{"siid":5,"piid":2,"value":30},{"siid":5,"piid":3,"value":1},)"
    R"({"siid":10,"piid":3,"value":"t"},{"siid":10,"piid":12,"value":"20"},)"
    R"({"siid":11,"piid":3,"value":true},{"siid":99,"piid":1,"value":1}]})",
    R"({"id":17,"result":{"properties":[{"siid":2,"piid":8,"value":"true"},)"
    R"({"siid":5,"piid":1,"value":"false"},{"siid":5,"piid":3,"value":"0"},)"
    R"({"siid":10,"piid":3,"value":"t"},{"siid":10,"piid":6,"value":12}]}})",
    R"({"id":1,"method":"no_such_method"})",
};

// Values that make the keys' actions go all their way.
struct notified {
    const char *key;
    const char *value;
};

static const notified values[] = {
    { "led_cmd", "[1,50,2,500,500]" },
    { "motor_cmd", "[1,2,5]" },
    { "motor_slide_screen", "[1,12,10,-10]" },
    { "motor_reset", "1" },
    { "track", "[30,-15,0]" },
    { "sound_play", "[2,1,0]" },
    { "motor", "[40,60]" },
    { "motion_record", "stop" },
    { "motion_alarm", "[1,2,3]" },
    { "motion_region", "[3,3,3]" },
    { "language", "en" },
    { "detection_start", "08:00:00" },
    { "detection_end", "20:00:00" },
    { "did", "1234567" },
    { "sdcard_status", "4" },
    { "flag_pull_spec_properties", "yes" },
    { "flag_set_default_spec", "start" },
};

static const char *value_of(const char *key)
{
    for (const notified &each : values)
        if (strcmp(each.key, key) == 0)
            return each.value;
    return "on";
}

struct whatever_fails : failing_desk {};

TEST_P(whatever_fails, a_request_leaves_nothing_behind)
{
    for (const char *request : requests)
        tries({ request, links_come_up,
                [=] { otd_recv_handler_block(kit.otd_sock, request, static_cast<int>(strlen(request))); } });
}

static void notify(const watched_key &watched, const xresponse &reply)
{
    store_notify(watched.space, reply);
    selvar_close_retry();
}

TEST_P(whatever_fails, a_notification_leaves_nothing_behind)
{
    for (const watched_key &watched : watched_keys) {
        xresponse reply = text_reply(watched.key, value_of(watched.key));
        if (strcmp(watched.key, "time_night") == 0)
            reply = number_reply(watched.key, 1700000000000);
        tries({ watched.key,
                [&] {
                    links_come_up();
                    selvar_nvram_register_notify(watched.space, watched.key);
                },
                [&] { notify(watched, reply); } });
    }
    EXPECT_GT(failures, 0);
}

TEST_P(whatever_fails, an_event_of_the_device_leaves_nothing_behind)
{
    int pressed = 1;
    char stopped[] = "[40,60]", moving[] = "[1,40,60]";
    auto open = [] {
        links_come_up();
        av_index = 1;
    };
    tries({ "key", open, [&] { device_event_callback(1, &pressed); } });
    tries({ "motor stop", open, [&] { device_event_callback(2, stopped); } });
    tries({ "motor update", open, [&] { device_event_callback(3, moving); } });
}

TEST_P(whatever_fails, a_rotation_leaves_nothing_behind)
{
    auto tracking = [] {
        links_come_up();
        kit.power = 1;
        kit.track_switch = 1;
    };
    tries({ "rotation", tracking, [] { shm_message(0, "[30,-15,0]"); } });
    tries({ "its stop", tracking, [] { shm_message(0, "stop"); } });
}

// As the loop does.
static void player_is_readable()
{
    if (kit.sound_fd > 0)
        sound_close_retry();
}

TEST_P(whatever_fails, an_event_of_the_player_leaves_nothing_behind)
{
    auto queue = [] {
        links_come_up();
        sound_play("booting", sound_queued, "en");
        sound_play("alarm1", sound_queued, "");
    };
    tries({ "player comes", queue, [] {
               bus_player_connects();
               player_is_readable();
           } });
    tries({ "player speaks and leaves", queue, [] {
               bus_player_says("a header 12.", "text");
               bus_player_leaves();
               player_is_readable();
               player_is_readable();
           } });
}

// Long enough for every link to be tried, and for every query.
static void ticks()
{
    for (int i = 0; i < 4; i++) {
        platform.monotonic_s += 5;
        platform.realtime_ms += 5000;
        tick_handler(kit.timer_fd);
    }
}

TEST_P(whatever_fails, a_tick_leaves_nothing_behind)
{
    tries({ "links up", links_come_up, ticks });
    tries({ "links down",
            [] {
                links_come_up();
                otd_close();
                selvar_close();
                sound_close();
            },
            ticks });
    tries({ "something to do",
            [] {
                links_come_up();
                kit.key_press_time = 1;
                kit.bind_wait_time = 1;
                kit.track_time = 1;
                kit.sysinfo_due = 1;
                kit.stat_report_time = 1;
                kit.ircut_report_time = 1;
            },
            ticks });
    tries({ "a reboot",
            [] {
                links_come_up();
                kit.rebooting = 1;
                kit.reboot_time = 1;
            },
            ticks });
    EXPECT_GT(failures, 0);
}

// A life takes the process's signals.
struct whole_life : failing_desk {
    whole_life()
    {
        pthread_sigmask(SIG_BLOCK, nullptr, &mask_before);
        sigaction(SIGINT, nullptr, &interrupt_before);
        sigaction(SIGPIPE, nullptr, &pipe_before);
    }
    ~whole_life() override
    {
        sigaction(SIGINT, &interrupt_before, nullptr);
        sigaction(SIGPIPE, &pipe_before, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
    }

    sigset_t mask_before = {};
    struct sigaction interrupt_before = {};
    struct sigaction pipe_before = {};
};

TEST_P(whole_life, leaves_nothing_behind)
{
    tries({ "a life",
            [] { libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) { return -1; }; },
            [] { camwarden_main(); } });
}

static const char *name_of(const failing_way &way)
{
    return way.plan == failing_call.plan ? "call" : "allocation";
}

INSTANTIATE_TEST_SUITE_P(failing, whatever_fails, testing::Values(failing_allocation, failing_call),
                         [](const auto &way) { return name_of(way.param); });
INSTANTIATE_TEST_SUITE_P(failing, whole_life, testing::Values(failing_allocation, failing_call),
                         [](const auto &way) { return name_of(way.param); });
