// SPDX-License-Identifier: MIT
// ready.h - when a camera that starts is up: told from its journal.
#pragma once

#include "common/json.h"

#include <string>

struct readiness {
    bool wants_binding = true; // not with --unbound

    bool daemon_serves = false; // it has announced its last method
    bool network_up = false;    // the cloud is reached
    bool bound = false;         // the cloud client found the camera bound, or has just bound it
    bool binding_stored = false;
    bool settled = false; // the daemon has taken notice of all that and says "normal"

    std::string damaged; // a sentence of the store about what it found; usually empty
};

// Takes one line of the journal, in their order.
void ready_take(readiness &ready, json_object *entry);

bool ready_is_up(const readiness &ready);

// What has not come yet, to end "the camera did not come up: ".
std::string ready_missing(const readiness &ready);
