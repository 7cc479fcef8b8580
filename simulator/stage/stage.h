// SPDX-License-Identifier: MIT
// stage.h - process 1 of a virtual camera: its whole state, and its phases. One thread.
//
//   starting   the neighbours were started; the daemon follows when they serve
//   running    what dies is started again after a pause
//   rebooting  everything was asked to end; when all is gone the camera starts again
//   stopping   the daemon was asked to end, then the others; when all is gone stage ends
#pragma once

#include "stage/body.h"
#include "stage/card.h"
#include "stage/clock_driver.h"
#include "stage/program.h"
#include "stage/rotation.h"
#include "stage/routing.h"
#include "stage/server.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

enum class stage_phase { starting, running, rebooting, stopping, ended };

enum class stage_event { program_ended, program_started, camera_up };

// Who asked for a change and is answered when it has happened.
struct awaited_event {
    uint64_t client = 0; // connection
    stage_event event = stage_event::camera_up;
    std::string program; // empty: the whole camera
};

// The reset key while a command holds it.
struct key_hold {
    bool held = false;
    int64_t release_ns = 0; // virtual
    uint64_t client = 0;    // is answered then
};

// The clock while a command steps it.
struct clock_step {
    bool under_way = false;
    int64_t until_ns = 0;   // virtual
    uint64_t client = 0;    // is answered then
    int64_t give_up_ms = 0; // host; when the camera is not whole until then
};

// A rotation while it is being posted.
struct rotation_post_request {
    bool under_way = false;
    bool posted = false; // and waits to be taken
    std::string text;
    uint64_t client = 0;   // is answered then
    int64_t begin_ms = 0;  // host; of the present state
    int64_t absent_ms = 0; // host; when the block was last seen not to be there
};

// Who is answered when the virtual clock gets there.
struct awaited_moment {
    uint64_t client = 0; // connection
    int64_t due_ns = 0;
};

struct stage {
    stage_phase phase = stage_phase::starting;
    std::vector<program> programs; // in the order in which they are started
    server control;
    routing routes;
    std::set<uint64_t> kits; // connections that hear the events of the body
    std::vector<awaited_event> awaited;
    std::vector<awaited_moment> moments;
    std::vector<uint64_t> stoppers; // connections that asked for the stop
    body_state body;
    key_hold key;
    ::card card;
    std::string restart_counts; // a file: how often each program was started again; empty: not counted
    key_t rotation_key = ::rotation_key;
    rotation_post_request rotation;
    clock_driver clock;
    clock_step step;
    int64_t step_patience_ms = 20'000; // host; with a camera that is not whole
    int boots = 0;
    int64_t up_since_ns = 0;        // virtual; of the last boot
    int64_t neighbours_late_ms = 0; // host; the daemon is then started without them
};

// Starts the camera's programs; used once. The clock, the journal and the control socket stand already.
void stage_boot(stage &stage);

// Everything is stopped, mem is lost, everything starts again. Ignored unless the camera is starting or
// running.
void stage_reboot(stage &stage);

// The orderly end, the daemon first; the phase is then ended. May be asked for at any time.
void stage_stop(stage &stage);

// Collects the processes that have ended.
void stage_reap(stage &stage);

// Does what is due, and returns the host ms until something else is.
int stage_run(stage &stage);

// The virtual moment when something is due that stage_run does; INT64_MAX: nothing is.
int64_t stage_due_ns(const stage &stage);

// Every program runs and serves, and the daemon's ticks are driven.
bool stage_is_whole(const stage &stage);

// One turn of the loop: waits for something to happen, at most longest_ms of host time, and serves it.
// signal_fd: a signalfd for SIGCHLD, SIGTERM (reboot) and SIGINT (stop); -1 for none.
void stage_turn(stage &stage, int signal_fd, int longest_ms);

program *stage_find_program(stage &stage, const std::string &name); // NULL: no such
const char *stage_phase_name(stage_phase phase);

// Answers the client when the event has come, or refuses it when it cannot come any more.
void stage_await(stage &stage, connection &client, stage_event event, const std::string &program);

// Tells the device kit, as a line on every connection that hears it. Takes event. False: nobody listens.
bool stage_tell_kits(stage &stage, json_object *event);
