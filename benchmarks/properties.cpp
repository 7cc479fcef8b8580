// SPDX-License-Identifier: MIT
// "get_properties" with one property and with thirty: thirty should cost about thirty times one. Shown for
// properties that the daemon knows, for those that it reads from the store, and for both mixed.
#include "desk.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

constexpr int rounds = 3;
constexpr int requests = 3000;
constexpr int many = 30;
constexpr int settle_ms = 300;

struct property {
    int siid, piid;
};

struct cost {
    double wall_us;
    double cpu_us; // of the daemon
};

static const std::vector<property> known = { { 2, 1 } };
static const std::vector<property> stored = { { 5, 2 } };
static const std::vector<property> mixed = {
    { 1, 1 },  { 1, 2 },   { 1, 3 },   { 2, 1 },  { 2, 2 },  { 2, 3 },  { 2, 5 },  { 2, 6 },
    { 2, 7 },  { 2, 8 },   { 2, 9 },   { 3, 1 },  { 4, 1 },  { 5, 1 },  { 5, 2 },  { 5, 3 },
    { 5, 4 },  { 5, 5 },   { 7, 1 },   { 7, 2 },  { 7, 3 },  { 10, 1 }, { 10, 2 }, { 10, 6 },
    { 10, 8 }, { 10, 11 }, { 10, 12 }, { 11, 1 }, { 11, 2 }, { 11, 3 },
};

static std::string request_for(const std::vector<property> &properties, size_t first, int count)
{
    std::string text = R"({"id":100000,"method":"get_properties","params":[)";
    for (int i = 0; i < count; i++) {
        const property &asked = properties[(first + static_cast<size_t>(i)) % properties.size()];
        text += std::string(i > 0 ? "," : "") + R"({"did":"274913586","siid":)" + std::to_string(asked.siid) +
                R"(,"piid":)" + std::to_string(asked.piid) + "}";
    }
    return text + "]}";
}

// One for each property to begin with, so that requests of every size ask for all alike.
static std::vector<std::string> requests_for(const std::vector<property> &properties, int count)
{
    std::vector<std::string> texts;
    for (size_t first = 0; first < properties.size(); first++)
        texts.push_back(request_for(properties, first, count));
    return texts;
}

// Takes whole objects from the front of bytes; the daemon's own queries lack the blank of a reply. No value
// that is read here has a brace in it.
static bool take_reply(std::string &bytes)
{
    int depth = 0;
    for (size_t i = 0; i < bytes.size(); i++) {
        depth += bytes[i] == '{' ? 1 : bytes[i] == '}' ? -1 : 0;
        if (depth != 0)
            continue;
        bool is_reply = bytes.starts_with(R"({"id" : 100000,"result" : [)");
        bytes.erase(0, i + 1);
        return is_reply || take_reply(bytes);
    }
    return false;
}

static void read_more(int sock, std::string &bytes)
{
    char window[65536];
    ssize_t got = recv(sock, window, sizeof window, 0);
    if (got <= 0) {
        fprintf(stderr, "properties: the daemon has gone.\n");
        exit(2);
    }
    bytes.append(window, static_cast<size_t>(got));
}

static void settle(int sock)
{
    std::string bytes;
    pollfd entry = { sock, POLLIN, 0 };
    while (poll(&entry, 1, settle_ms) > 0)
        read_more(sock, bytes);
}

static cost measure(int sock, clockid_t daemon, const std::vector<std::string> &texts)
{
    std::string bytes;
    double cpu = desk_seconds(daemon);
    double start = desk_seconds(CLOCK_MONOTONIC);
    for (int i = 0; i < requests; i++) {
        const std::string &request = texts[static_cast<size_t>(i) % texts.size()];
        desk_send(sock, request.data(), request.size());
        while (!take_reply(bytes))
            read_more(sock, bytes);
    }
    double wall_us = (desk_seconds(CLOCK_MONOTONIC) - start) * 1e6 / requests;
    return { wall_us, (desk_seconds(daemon) - cpu) * 1e6 / requests };
}

static cost best_of(int sock, clockid_t daemon, const std::vector<std::string> &texts)
{
    cost best = measure(sock, daemon, texts);
    for (int round = 1; round < rounds; round++) {
        cost next = measure(sock, daemon, texts);
        best = { std::min(best.wall_us, next.wall_us), std::min(best.cpu_us, next.cpu_us) };
    }
    return best;
}

static void show(const char *name, int sock, clockid_t daemon, const std::vector<property> &properties)
{
    cost one = best_of(sock, daemon, requests_for(properties, 1));
    cost thirty = best_of(sock, daemon, requests_for(properties, many));
    printf("%-12s %10.1f %10.1f %8.1f %12.1f %10.1f %8.1f\n", name, one.wall_us, thirty.wall_us,
           thirty.wall_us / one.wall_us, one.cpu_us, thirty.cpu_us, thirty.cpu_us / one.cpu_us);
}

int main()
{
    desk_enter();
    desk_stay_on_one_core();
    int listener = desk_listen();
    pid_t store = desk_start_store();
    pid_t daemon = desk_start(desk_run_daemon);
    int sock = desk_accept(listener);
    clockid_t clock = desk_clock_of(daemon);
    settle(sock);

    printf(
        "get_properties, one core, best of %d rounds of %d requests; times in us, ratios wanted at most %d\n",
        rounds, requests, many);
    printf("%-12s %10s %10s %8s %12s %10s %8s\n", "", "one", "thirty", "ratio", "one, cpu", "thirty",
           "ratio");
    show("from kit", sock, clock, known);
    show("from store", sock, clock, stored);
    show("mixed", sock, clock, mixed);
    desk_stop(daemon);
    desk_stop(store);
    return 0;
}
