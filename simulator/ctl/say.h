// SPDX-License-Identifier: MIT
// say.h - how a command ends: one sentence for a person, one JSON object with --json, and the exit status.
#pragma once

#include "common/json.h"
#include "ctl/commands.h"

// {"done":..}: what --json prints; a person gets text instead. done may be NULL: {}.
int say_done(const ctl_request &request, json_object *done, const std::string &text);

int say_refused(const ctl_request &request, const std::string &sentence);
int say_could_not(const ctl_request &request, const std::string &sentence);

// false: the camera has never run, so there is no journal to read; this has been said, and status is the exit
// status.
bool say_whether_it_ran(const ctl_request &request, int &status);

// A line of text for a person at once, nothing with --json.
void say(const ctl_request &request, const std::string &text);

// Of host time, for an answer.
constexpr int usual_patience_ms = 10'000;
constexpr int wait_as_long_as_it_takes = -1;

// Asks the camera. What comes back is the "done" of its answer; NULL: it was refused or could not be asked,
// this has been said, and status is the exit status.
json_ptr ask_camera(const ctl_request &request, const json_ptr &command, int &status,
                    int patience_ms = usual_patience_ms);

// The same for an order: what it changes comes after the moment that is noted here, for "wait --since last".
json_ptr order_camera(const ctl_request &request, const json_ptr &command, int &status,
                      int patience_ms = usual_patience_ms);

// An order that is said to be done by text; the exit status.
int order_and_say(const ctl_request &request, const json_ptr &command, const std::string &text,
                  int patience_ms = usual_patience_ms);

// The size of the journal when the last order was given; 0: there was none.
int64_t say_last_order(const place &where);

// Without words, and with less patience: the whole answer, NULL when there is none.
json_ptr ask_quietly(const json_ptr &command);

// A member, borrowed; NULL: there is none.
json_object *json_member(const json_ptr &object, const char *key);

json_ptr command_of(const char *name); // {"do":name}
