// SPDX-License-Identifier: MIT
// program.h - one neighbour as a process: started, asked to end, killed when it does not, started again after
// a pause when it died. Pauses are virtual time, the patience with one that is asked to end is host time.
// stage's thread only.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

struct program_row {
    const char *name;
    const char *const *command;     // NULL at the end
    const char *const *environment; // "NAME=VALUE" beside stage's own, NULL at the end
    int end_signal;                 // how it is asked to end in order
    int grace_ms;                   // and how long it may take, in host time
    bool needs_neighbours;          // first started when all that serve do
    bool serves;                    // answers commands NAME.*
};

// stopped: not there and nobody will start it. ending: was asked to end. waiting: died, starts again at
// due_ns.
enum class program_state { stopped, running, ending, waiting };

struct program {
    const program_row *row = nullptr;
    std::vector<const char *> options = {}; // after the row's command
    std::string seed = {};                  // of its random numbers, with its name and life; empty: none
    program_state state = program_state::stopped;
    pid_t pid = -1;
    bool again = false;        // ending: is started again at once
    int lives = 0;             // since the camera was started, also over a reboot
    int restarts = 0;          // without those that a reboot began
    int counted = 0;           // of them, in the file of restarts
    int last_pause_ms = 0;     // before its present life
    int64_t started_ns = 0;    // virtual
    int64_t due_ns = 0;        // virtual; of waiting
    int64_t kill_at_ms = 0;    // host; of ending
    std::string last_end = {}; // how its last life ended, a few words
};

// Starts it. One that cannot be executed counts as one that died at once.
void program_start(program &program);

// Asks it to end; it is killed after grace_ms. One that only waits is stopped at once, or started with again.
void program_end(program &program, int signal, int grace_ms, bool again);

// It has ended, as waitpid(2) tells. With may_restart it is started again when its time comes.
void program_ended(program &program, int wait_status, bool may_restart);

// Does what is due, and returns the host ms until something else is; at most 1000.
int program_run(program &program);
