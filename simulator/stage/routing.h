// SPDX-License-Identifier: MIT
// routing.h - which neighbour answers which commands, and who waits for its answers. stage's thread only.
//
// A command is passed on as it came with a "tag" added; the neighbour's answer carries the same tag. Who
// asked gets exactly one answer: the neighbour's, or a refusal when the neighbour ends first.
#pragma once

#include "stage/server.h"

#include <json-c/json.h>

#include <cstdint>
#include <map>
#include <string>

struct routed_request {
    uint64_t client = 0; // connection
    std::string name;    // of the neighbour
};

struct routing {
    std::map<std::string, uint64_t> services;  // name -> connection
    std::map<int64_t, routed_request> waiting; // tag -> who asked
    int64_t last_tag = 0;
};

// From now on service answers for name. Whoever did before is forgotten.
void routing_serve(server &server, routing &routing, const std::string &name, uint64_t service);

bool routing_is_service(const routing &routing, uint64_t connection_id);

// Passes command on to the neighbour called name; the client then awaits. False: nobody serves name.
bool routing_forward(server &server, routing &routing, const std::string &name, connection &client,
                     json_object *command);

// Sends the neighbour called name a command whose answer nobody wants, if it serves. Takes command.
void routing_tell(server &server, const routing &routing, const std::string &name, json_object *command);

// Takes an answer from a service to who asked. One that nobody waits for is dropped. Takes answer.
void routing_answer(server &server, routing &routing, json_object *answer);

// The connection is gone: what it asked is forgotten, what it was asked is refused.
void routing_forget(server &server, routing &routing, uint64_t connection_id);

// Every neighbour is gone: nobody serves any more, all that was asked is refused.
void routing_forget_all(server &server, routing &routing);
