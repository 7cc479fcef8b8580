// SPDX-License-Identifier: MIT
// kit.h - the state of the daemon: one plain record and the globals beside it.
//
// Belongs to the main thread. Three kinds of thread touch it: main, the rotation worker, and the device
// kit's own. What they share is read and written through shared() on both sides; it is marked below.
#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>

constexpr int kit_pollfds_size = 10;

// Fields in the order and width of the record that other tools of the camera know; what is not 0 at start
// says so. Time fields are monotonic seconds as time_monotonic gives them, 0: not set.
struct kit_state {
    pollfd pollfds[kit_pollfds_size] = {}; // the first nfds are in use
    int32_t nfds = 0;
    int32_t timer_fd = 0; // 1000 ms
    int32_t otd_sock = 0; // the cloud client, the store, the sound player: 0 or below is down
    int32_t mc_fd = 0;
    int32_t sound_fd = 0;
    int32_t night = 0; // 0..2
    int32_t card_status = 0;
    int32_t max_client = 0;
    int32_t motion_record = 0;   // 0 off, 1 on, 2 stop
    int32_t night_count = 0;     // day/night switches since the last report
    uint8_t exiting = 0;         // shared
    uint8_t status_received = 0; // the cloud client has told its status
    uint8_t wdr = 0;
    uint8_t power = 1; // shared
    uint8_t ota = 0;   // a firmware update runs
    uint8_t light = 1;
    uint8_t motion_enable = 1;
    uint8_t color = 1;
    uint8_t watermark = 1;
    uint8_t flip = 0;         // shared
    uint8_t track_switch = 0; // shared
    uint8_t tracking = 0;     // shared
    uint8_t rebooting = 0;    // shared
    uint8_t improve_program = 0;
    uint32_t key_press_time = 0; // shared; 0 while the reset key is up
    uint32_t time_set_at = 0;
    uint32_t reconnect_time = 0; // one stamp for all three links
    uint32_t reboot_time = 0;
    uint32_t bind_wait_time = 0;
    uint32_t track_time = 0; // shared
    uint32_t ircut_report_time = 0;
    uint32_t stat_report_time = 0;
    uint32_t sysinfo_due = 0;
    int32_t start_hour = 0, start_min = 0, start_sec = 0; // the daily detection period
    int32_t end_hour = 0, end_min = 0, end_sec = 0;
};

extern kit_state kit;

extern char g_did[32];                            // device id
extern char language[8];                          // of the prompts, "" for none
extern char motion_alarm_cfg[32];                 // JSON array as text
extern char motion_region_cfg[80];                // JSON array of 32 cells as text
extern int32_t motor_position_h;                  // shared; 50 is the centre
extern int32_t motor_position_v;                  // shared
alignas(8) extern int64_t motor_time;             // shared; wall-clock ms of the last motor event, 0: none
extern int32_t av_index;                          // shared; the stream that moves the motor, negative: none
extern uint8_t motor_reset_flag;                  // the next "motor" moves the head to the stored position
extern int32_t lsd_switch, lsd_push, lsd_sensity; // loud-sound detection
extern int32_t mini_level;
extern int32_t last_rpc_id; // of the last message from the cloud client
extern int32_t rpc_origin;  // 0: the cloud client, else the spec service

// Takes over what was read of a position: h from one number on, v from two. A number that was not read must
// not be written back, another thread may have changed it.
void kit_position_read(int numbers, int32_t h, int32_t v);

// The one way to what threads share: shared(kit.power).load(), shared(kit.power).store(1).
template <typename value> std::atomic_ref<value> shared(value &field)
{
    return std::atomic_ref<value>(field);
}
