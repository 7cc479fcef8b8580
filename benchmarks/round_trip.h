// SPDX-License-Identifier: MIT
// round_trip.h - the round trip of "get_prop" with three names: the daemon beside two bare programs, all on
// one core.
#pragma once

#include "desk.h"

// What is measured. Each runs in a process of its own and connects to the client's port like the daemon does.
struct server {
    const char *name;
    void (*run)(); // in the child; ends with the connection
};

extern const server servers[3]; // a bare ping-pong of the same sizes; a bare program with json-c; the daemon

// Takes the id.
inline constexpr char request_format[] =
    "{\"id\":%d,\"method\":\"get_prop\",\"params\":[\"power\",\"light\",\"night_mode\"]}";
constexpr int first_id = 100000; // six digits, so that every request and reply has one size
constexpr int ids = 800000;
constexpr int reply_size = 47;

struct figures {
    double per_second;
    double cpu_us;           // of the server, a request
    double burst_p99_ms;     // 16 requests in one piece until the last reply
    double burst_within_1ms; // share, 0..1
};

// Accepts the server's connection and measures. pid: the server's.
figures client_measure(int listener, pid_t pid);
