// SPDX-License-Identifier: MIT
// control.h - the control socket: one JSON object a line, answered in order with one line.
//
//   {"do":"store.get","space":"nvram","key":"power"}   ->   {"done":{"value":"on","type":1}}
//                                                      or   {"refused":"one sentence that says what to do"}
//
// stage answers its own commands (stage/commands.cpp has the table) and hands NAME.* on to the neighbour
// called NAME. A neighbour makes itself known on a connection of its own with
// {"do":"serve","name":"store"}; then stage sends it commands with a "tag", and it answers each with the
// same "tag" beside "done" or "refused". Commands may carry descriptors (SCM_RIGHTS).
#pragma once

#include <json-c/json.h>

#include <string>

// A connection that is read and written by lines. fd -1: closed. Not shared between threads.
struct control_link {
    int fd = -1;
    std::string in; // what has arrived and is not yet taken
};

// Connects to the control socket of the run folder. False: nobody listens.
bool control_connect(control_link &link);
void control_close(control_link &link);

// Sends one line, with a descriptor when passed_fd is not below 0; the caller keeps both. False: the link is
// gone, or the peer took nothing for five seconds; it was closed.
bool control_send(control_link &link, json_object *message, int passed_fd = -1);

// The next whole line as an object that the caller puts; NULL: none within timeout_ms of host time (-1: wait
// for ever), or the link is gone (fd is then -1). A line that is no JSON object is dropped.
json_object *control_receive(control_link &link, int timeout_ms);

// Sends and waits for the answer line. NULL as above, but when the time is up the link is closed too: a late
// answer must not be taken for that of the next question.
json_object *control_ask(control_link &link, json_object *message, int timeout_ms);

json_object *control_done(json_object *result);            // {"done":result}; takes result, NULL is {}
json_object *control_refused(const std::string &sentence); // {"refused":sentence}

// The neighbour's side of {"do":"serve"}: keeps a link to stage, connects again when it is gone.
struct control_service {
    const char *name;
    // command is "get" for "store.get", arguments the whole line, borrowed. Returns control_done or
    // control_refused, taken.
    json_object *(*answer)(const char *command, json_object *arguments);
    control_link link = {};
    int64_t retry_host_ms = 0;
};

// Call it when link.fd is readable and at least once a second; answers what has arrived. Never blocks for
// long; without stage it does nothing.
void control_service_run(control_service &service);
