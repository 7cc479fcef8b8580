// SPDX-License-Identifier: MIT
#include "stage/commands.h"
#include "stage/moments.h"
#include "stage/stage.h"

#include "common/clock.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

constexpr int64_t ns_per_ms = 1'000'000;

static void take_signals(stage &stage, int signal_fd)
{
    signalfd_siginfo signal = {};
    while (read(signal_fd, &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo == SIGTERM)
            stage_reboot(stage);
        if (signal.ssi_signo == SIGINT)
            stage_stop(stage);
    }
}

static void forget_gone(stage &stage)
{
    for (uint64_t id : server_sweep(stage.control)) {
        clock_driver_forget(stage.clock, id);
        routing_forget(stage.control, stage.routes, id);
        stage.kits.erase(id);
        clock_forget(stage, id);
        moments_forget(stage, id);
    }
}

// A neighbour's answer may free a client's next line, hence until nothing is left.
static void take_lines(stage &stage)
{
    bool some = true;
    std::string line;
    while (some) {
        some = false;
        for (auto &[id, connection] : stage.control.connections) {
            while (server_take_line(connection, line)) {
                commands_take_line(stage, connection, line);
                some = true;
            }
        }
    }
}

static void wait_for_something(std::vector<pollfd> &watched, int64_t wait_ns)
{
    const timespec longest = { .tv_sec = wait_ns / (1000 * ns_per_ms),
                               .tv_nsec = wait_ns % (1000 * ns_per_ms) };
    if (ppoll(watched.data(), watched.size(), &longest, nullptr) > 0)
        return;
    for (pollfd &entry : watched)
        entry.revents = 0;
}

void stage_turn(stage &stage, int signal_fd, int longest_ms)
{
    // What runs may answer clients, so nothing is left undone when the wait begins.
    int64_t wait_ns = std::min(stage_run(stage), longest_ms) * ns_per_ms;
    // A stepped clock halts at what is due, and while the camera is not whole: what starts needs real time.
    int64_t clock_ns = clock_driver_run(stage.clock, stage_is_whole(stage) ? stage_due_ns(stage) : 0);
    if (clock_ns >= 0)
        wait_ns = std::min(wait_ns, clock_ns);
    // How long the host waits for a moment depends on how far the clock may run by now.
    wait_ns = std::min<int64_t>(wait_ns, clock_host_wait_ms(stage_due_ns(stage)) * ns_per_ms);

    std::vector<pollfd> watched = { { .fd = signal_fd, .events = POLLIN, .revents = 0 } };
    server_watch(stage.control, watched);
    wait_for_something(watched, stage.phase == stage_phase::ended ? 0 : wait_ns);

    if (signal_fd >= 0)
        take_signals(stage, signal_fd);
    server_serve(stage.control, watched);
    take_lines(stage);
    stage_reap(stage);
    forget_gone(stage);
}
