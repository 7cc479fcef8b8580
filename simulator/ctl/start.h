// SPDX-License-Identifier: MIT
// start.h - a camera from its empty run folder until it is up, and its end: what run and with have in common.
#pragma once

#include "ctl/commands.h"
#include "ctl/journal_reader.h"
#include "ctl/ready.h"

#include <sys/types.h>

#include <deque>
#include <string>

struct camera_start {
    std::string seed; // of its random numbers
    pid_t pid = -1;   // the sandbox or, in the background, its keeper; a child of this process
    int lock = -1;    // of the run folder; -1 again when the keeper has it or the camera has ended
    int64_t began_ms = 0;
    journal_reader journal; // has come to where the camera was up
    readiness ready;
    bool over = false;            // it ended before it was up
    std::deque<std::string> last; // lines of the journal
};

// Makes the folders, starts the camera as the options say and waits until it is up; an interrupt ends the
// wait, see interrupts.h. false: nothing runs, why was said, and status is the exit status.
bool start_camera(const ctl_request &request, camera_start &start, int &status);

// The sandbox has ended and was reaped: the run folder is free for another camera.
void start_let_go(camera_start &start);

// Asks the camera, whose socket CAMERA_RUN names, to stop. Does not wait.
void start_ask_stop(void);

constexpr int start_longest_stop_ms = 10'000; // then it may be killed

// The last lines of what the camera's programs have printed.
std::string start_last_output(const place &where);
