// SPDX-License-Identifier: MIT
// otd_link.h - the socket to the cloud client: connect, announce the methods, read, cut into messages, route.
// Main thread only. The stream has no framing: one JSON object follows another.
#pragma once

#include <array>
#include <cstdint>

// The methods announced after each connect, in this order.
inline constexpr std::array register_keys = {
    "local.status",
    "local.bind",
    "kiVO.restore",
    "local.time",
    "set_wdr",
    "set_night_mode",
    "restart_device",
    "set_power",
    "set_flip",
    "set_watermark",
    "set_light",
    "set_improve_program",
    "get_prop",
    "set_motion_region",
    "get_motion_region",
    "set_motion_detection_enable",
    "set_full_color",
    "set_motor",
    "update_log",
    "kiVO.config_loglevel",
    "set_motion_record",
    "getAlarmConfig",
    "setAlarmConfig",
    "alarm_sound",
    "get_eth0_status_info",
    "get_hotspot_info",
    "set_hotspot_info",
    "app_feedback_device_rpc",
    "set_lsd_config",
    "get_lsd_config",
    "local.did",
    "get_properties",
    "set_properties",
};

// The connected socket with the methods announced, or -1.
int32_t otd_connect(void);

// Connects again into kit.otd_sock; -1 there when it fails.
void otd_connect_retry(void);

// Takes the link down; nothing when it is down.
void otd_close(void);

void register_key(int sock);

// The socket is readable: reads and handles what has come. -1 at the end of a burst or on bad input, 0 when
// the peer closed or a message did not fit.
int otd_recv_handler(int sock);

// Handles the whole messages at the start of data, which ends with a NUL behind len bytes. The bytes
// consumed, or -1: drop all of it.
int otd_recv_handler_block(int sock, const char *data, int len);

// 1 when the "did" in text is this device's, else 0. length is not used.
int spec_did_match(const char *text, int length);
