// SPDX-License-Identifier: MIT
// stage_desk.h - a stage in the test's own process: its programs are small shell scripts, its turns are the
// test's. For use inside a STORY.
#pragma once

#include "harness.h"

#include "common/control.h"
#include "common/json.h"
#include "stage/stage.h"

#include <deque>
#include <memory>
#include <string>

struct script {
    std::string text;
    const char *words[4] = {};
    program_row row = {};
};

struct stage_desk {
    stage camera;
    std::deque<script> scripts;
    int grace_ms = 10'000; // that the programs added next have to end
};

// A page, a journal and the control socket; no programs yet, the phase is running.
void stage_desk_open(stage_desk &desk);
void stage_desk_close(stage_desk &desk); // ends what runs

// What a program is to the camera: neighbours that serve are waited for before the daemon is started.
enum class stage_role { plain, serves, waits };

// Adds a program that is a shell script. It never serves by itself: stage_desk_serve does for it.
void stage_desk_add(stage_desk &desk, const char *name, const std::string &text,
                    stage_role role = stage_role::plain);

constexpr const char *obedient = "trap 'exit 7' TERM; trap 'exit 8' INT; while :; do sleep 0.02; done";

// Turns the stage until the condition holds; false when it does not within 20 s.
bool stage_desk_until(stage_desk &desk, const std::function<bool()> &condition);

bool stage_desk_until_phase(stage_desk &desk, stage_phase phase);

const program &stage_desk_program(stage_desk &desk, const char *name);

// Connects a client and has it accepted.
void stage_desk_connect(stage_desk &desk, control_link &link);

// Makes link the one that answers for the neighbour called name.
void stage_desk_serve(stage_desk &desk, control_link &link, const std::string &name);

void stage_desk_send(control_link &link, const std::string &line); // as it is, adds the line end

// The next line that the client gets, as text; empty when its connection was closed or none came.
std::string stage_desk_receive(stage_desk &desk, control_link &link);

std::string stage_desk_ask(stage_desk &desk, control_link &link, const std::string &line);

// A refusal whose sentence holds with.
bool stage_desk_is_refusal(const std::string &answer, const std::string &with);
