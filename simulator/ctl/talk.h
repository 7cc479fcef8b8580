// SPDX-License-Identifier: MIT
// talk.h - a request from the cloud's side, and what the camera makes of it.
#pragma once

#include "ctl/commands.h"

int call_method(const ctl_request &request);

// What a message of the daemon is to somebody who called with id.
enum class message_kind {
    reply,
    report,
    other, // somebody else's: a question of the daemon, an announcement
};
message_kind talk_kind(const std::string &text, int64_t id);
