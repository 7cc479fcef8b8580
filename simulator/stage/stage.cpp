// SPDX-License-Identifier: MIT
#include "stage/stage.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/host_time.h"
#include "common/journal.h"
#include "common/json.h"
#include "stage/commands.h"
#include "stage/moments.h"
#include "stage/restart.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

constexpr int reboot_grace_ms = 1000;
constexpr int neighbours_patience_ms = 5000;
constexpr int longest_wait_ms = 1000;

program *stage_find_program(stage &stage, const std::string &name)
{
    for (program &program : stage.programs) {
        if (name == program.row->name)
            return &program;
    }
    return nullptr;
}

const char *stage_phase_name(stage_phase phase)
{
    switch (phase) {
    case stage_phase::starting:
        return "starting";
    case stage_phase::running:
        return "running";
    case stage_phase::rebooting:
        return "rebooting";
    case stage_phase::stopping:
        return "stopping";
    case stage_phase::ended:
        return "ended";
    }
    return "";
}

void stage_await(stage &stage, connection &client, stage_event event, const std::string &program)
{
    client.awaiting = true;
    stage.awaited.push_back({ .client = client.id, .event = event, .program = program });
}

static void settle(stage &stage, stage_event event, const std::string &program)
{
    std::erase_if(stage.awaited, [&](const awaited_event &awaited) {
        if (awaited.event != event || awaited.program != program)
            return false;
        server_answer(stage.control, awaited.client, control_done(nullptr));
        return true;
    });
}

static void refuse_awaited(stage &stage, const char *sentence)
{
    for (const awaited_event &awaited : stage.awaited)
        server_answer(stage.control, awaited.client, control_refused(sentence));
    stage.awaited.clear();
}

bool stage_tell_kits(stage &stage, json_object *event)
{
    for (uint64_t id : stage.kits) {
        connection *kit = server_find(stage.control, id);
        if (kit != nullptr)
            server_send(*kit, json_object_get(event));
    }
    json_object_put(event);
    return !stage.kits.empty();
}

static void start_program(stage &stage, program &program)
{
    program_start(program);
    settle(stage, stage_event::program_started, program.row->name);
}

void stage_boot(stage &stage)
{
    stage.phase = stage_phase::starting;
    stage.boots++;
    stage.up_since_ns = clock_monotonic_ns();
    stage.neighbours_late_ms = host_time_ms() + neighbours_patience_ms;
    routing_forget_all(stage.control, stage.routes);
    body_power_on(stage.body, clock_monotonic_ns());
    for (program &program : stage.programs) {
        if (!program.row->needs_neighbours)
            start_program(stage, program);
    }
}

// A neighbour makes itself known once it can be connected to.
static bool neighbours_serve(const stage &stage)
{
    return std::ranges::all_of(stage.programs, [&](const program &program) {
        return !program.row->serves || stage.routes.services.contains(program.row->name);
    });
}

// Returns the host ms until the next look; a neighbour that makes itself known ends the wait before that.
static int run_start(stage &stage)
{
    if (!neighbours_serve(stage)) {
        const int64_t left_ms = stage.neighbours_late_ms - host_time_ms();
        if (left_ms > 0)
            return static_cast<int>(std::min<int64_t>(left_ms, longest_wait_ms));
        fprintf(stderr, "stage: not all neighbours serve yet; the daemon is started without them\n");
    }
    for (program &program : stage.programs) {
        if (program.row->needs_neighbours && program.state == program_state::stopped)
            start_program(stage, program);
    }
    stage.phase = stage_phase::running;
    json_object *fields = json_object_new_object();
    json_set_number(fields, "boot", stage.boots);
    journal_write("stage", "up", fields);
    settle(stage, stage_event::camera_up, "");
    return 0;
}

void stage_reboot(stage &stage)
{
    if (stage.phase != stage_phase::starting && stage.phase != stage_phase::running)
        return;
    journal_write("stage", "reboot", nullptr);
    stage.phase = stage_phase::rebooting;
    for (program &program : stage.programs)
        program_end(program, SIGTERM, reboot_grace_ms, false);
}

void stage_stop(stage &stage)
{
    if (stage.phase == stage_phase::stopping || stage.phase == stage_phase::ended)
        return;
    stage.phase = stage_phase::stopping;
    refuse_awaited(stage, "the camera is stopping");
    moments_refuse(stage, "the camera is stopping");
    program *daemon = stage_find_program(stage, "daemon");
    if (daemon != nullptr)
        program_end(*daemon, daemon->row->end_signal, daemon->row->grace_ms, false);
}

static bool all_stopped(const stage &stage)
{
    return std::all_of(stage.programs.begin(), stage.programs.end(),
                       [](const program &program) { return program.state == program_state::stopped; });
}

static void run_reboot(stage &stage)
{
    if (!all_stopped(stage))
        return;
    // What the programs left behind; outside a sandbox that would be everybody's.
    if (getpid() == 1) {
        kill(-1, SIGKILL);
        rotation_remove(stage.rotation_key);
    }
    stage_boot(stage);
}

static void run_stop(stage &stage)
{
    const program *daemon = stage_find_program(stage, "daemon");
    if (daemon != nullptr && daemon->state != program_state::stopped)
        return;
    for (program &program : stage.programs) {
        if (program.state != program_state::ending)
            program_end(program, program.row->end_signal, program.row->grace_ms, false);
    }
    if (!all_stopped(stage))
        return;
    journal_write("stage", "stop", nullptr);
    for (uint64_t client : stage.stoppers)
        server_answer(stage.control, client, control_done(nullptr));
    stage.phase = stage_phase::ended;
}

static void count_restarts(stage &stage)
{
    for (program &program : stage.programs) {
        if (program.restarts > program.counted && !stage.restart_counts.empty())
            restart_count(stage.restart_counts, program.row->name, program.restarts - program.counted);
        program.counted = program.restarts;
    }
}

int64_t stage_due_ns(const stage &stage)
{
    int64_t due_ns = head_news_due_ns(stage.body.head);
    for (const awaited_moment &awaited : stage.moments)
        due_ns = std::min(due_ns, awaited.due_ns);
    if (stage.key.held)
        due_ns = std::min(due_ns, stage.key.release_ns);
    for (const program &program : stage.programs) {
        if (program.state == program_state::waiting)
            due_ns = std::min(due_ns, program.due_ns);
    }
    return due_ns;
}

bool stage_is_whole(const stage &stage)
{
    auto runs = [](const program &program) { return program.state == program_state::running; };
    return stage.phase == stage_phase::running && !stage.clock.timers.empty() && neighbours_serve(stage) &&
           std::ranges::all_of(stage.programs, runs);
}

int stage_run(stage &stage)
{
    int wait_ms = longest_wait_ms;
    body_run(stage);
    key_run(stage);
    clock_run(stage);
    wait_ms = std::min(wait_ms, rotation_run(stage));
    for (program &program : stage.programs) {
        int restarts = program.restarts;
        wait_ms = std::min(wait_ms, program_run(program));
        if (program.restarts != restarts)
            settle(stage, stage_event::program_started, program.row->name);
    }
    count_restarts(stage);
    if (stage.phase == stage_phase::rebooting)
        run_reboot(stage);
    if (stage.phase == stage_phase::starting)
        wait_ms = std::min(wait_ms, run_start(stage));
    if (stage.phase == stage_phase::stopping)
        run_stop(stage);
    moments_run(stage);
    return wait_ms;
}

void stage_reap(stage &stage)
{
    int status = 0;
    pid_t pid = 0;
    while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
        auto is_it = [&](const program &program) { return program.pid == pid; };
        auto found = std::find_if(stage.programs.begin(), stage.programs.end(), is_it);
        if (found == stage.programs.end())
            continue; // an orphan
        bool may_restart = stage.phase == stage_phase::starting || stage.phase == stage_phase::running;
        program_ended(*found, status, may_restart);
        settle(stage, stage_event::program_ended, found->row->name);
        if (found->state == program_state::running)
            settle(stage, stage_event::program_started, found->row->name);
    }
}
