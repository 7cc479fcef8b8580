// SPDX-License-Identifier: MIT
// The cloud's side: sends requests and counts replies by their braces, leaving out what the server says
// unasked.
#include "round_trip.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

constexpr int round_trips = 40000;
constexpr int bursts = 1000;
constexpr int burst_size = 16;
constexpr int settle_ms = 300;

// What has arrived and is not yet counted.
struct stream {
    int sock;
    std::string bytes;
};

static void read_more(stream &in)
{
    char window[4096];
    ssize_t got = recv(in.sock, window, sizeof window, 0);
    if (got <= 0) {
        fprintf(stderr, "round_trip: the server has gone.\n");
        exit(2);
    }
    in.bytes.append(window, static_cast<size_t>(got));
}

// Replies begin with "{ " and queries of the daemon's own with "{\"", so a query is passed over.
static bool take_reply(stream &in)
{
    while (in.bytes.size() >= 2) {
        bool is_query = in.bytes[0] == '{' && in.bytes[1] == '"';
        if (!is_query) {
            if (in.bytes.size() < reply_size)
                return false;
            in.bytes.erase(0, reply_size);
            return true;
        }
        size_t end = in.bytes.find('}');
        if (end == std::string::npos)
            return false;
        in.bytes.erase(0, end + 1);
    }
    return false;
}

static void wait_for_replies(stream &in, int count)
{
    while (count > 0) {
        if (take_reply(in))
            count--;
        else
            read_more(in);
    }
}

static int next_id()
{
    static int used = 0;
    return first_id + used++ % ids;
}

static std::string requests(int count)
{
    std::string text;
    char one[128];
    for (int i = 0; i < count; i++) {
        snprintf(one, sizeof one, request_format, next_id());
        text += one;
    }
    return text;
}

static void send_all(stream &out, const std::string &text)
{
    desk_send(out.sock, text.data(), text.size());
}

// The announcements of a daemon that has just connected.
static void drain(stream &in)
{
    pollfd entry = { in.sock, POLLIN, 0 };
    while (poll(&entry, 1, settle_ms) > 0)
        read_more(in);
    in.bytes.clear();
}

static void measure_round_trips(stream &link, clockid_t server_clock, figures &result)
{
    double cpu = desk_seconds(server_clock);
    double start = desk_seconds(CLOCK_MONOTONIC);
    for (int i = 0; i < round_trips; i++) {
        send_all(link, requests(1));
        wait_for_replies(link, 1);
    }
    result.per_second = round_trips / (desk_seconds(CLOCK_MONOTONIC) - start);
    result.cpu_us = (desk_seconds(server_clock) - cpu) * 1e6 / round_trips;
}

static void measure_bursts(stream &link, figures &result)
{
    std::vector<double> ms;
    for (int i = 0; i < bursts; i++) {
        std::string text = requests(burst_size);
        double start = desk_seconds(CLOCK_MONOTONIC);
        send_all(link, text);
        wait_for_replies(link, burst_size);
        ms.push_back((desk_seconds(CLOCK_MONOTONIC) - start) * 1e3);
    }
    std::sort(ms.begin(), ms.end());
    result.burst_p99_ms = ms[bursts * 99 / 100];
    auto within = std::upper_bound(ms.begin(), ms.end(), 1.0) - ms.begin();
    result.burst_within_1ms = static_cast<double>(within) / bursts;
}

figures client_measure(int listener, pid_t pid)
{
    stream link = { desk_accept(listener), "" };
    drain(link);

    clockid_t server_clock = desk_clock_of(pid);
    figures result = {};
    measure_round_trips(link, server_clock, result);
    measure_bursts(link, result);
    close(link.sock);
    return result;
}
