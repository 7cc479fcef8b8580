// SPDX-License-Identifier: MIT
// talk.h - a request from the cloud's side, and what the camera makes of it.
#pragma once

#include "common/json.h"
#include "ctl/commands.h"
#include "ctl/journal_reader.h"

int call_method(const ctl_request &request);

// Sends what a command of the cloud makes, says what follows, and ends like a command.
int talk_send(const ctl_request &request, const json_ptr &command);

// What a message of the daemon is to somebody who called with id.
enum class message_kind {
    reply,
    report,
    other, // somebody else's: a question of the daemon, an announcement
};
message_kind talk_kind(const std::string &text, int64_t id);

// What follows a request, until nothing more comes.
struct conversation {
    int64_t id = 0;
    json_ptr answer; // NULL: none has come
    std::vector<std::string> reports;
    json_ptr changes = json_ptr(json_object_new_array()); // journal lines of the store, the LEDs and the head
};
constexpr int64_t talk_pull = -1; // as an id: not a reply is waited for but the daemon's pull

// Says each as it comes. Ends after a silence behind the answer, or when no answer comes.
void talk_listen(const ctl_request &request, journal_reader &journal, conversation &talk);
json_ptr talk_json(const conversation &talk);
