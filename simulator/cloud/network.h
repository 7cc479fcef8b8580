// SPDX-License-Identifier: MIT
// network.h - the camera's way into the network, as the cloud client tells it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct network {
    std::string status;   // "" before the first step
    int64_t start_ns = 0; // virtual time
    size_t next_step = 0; // of the way up; past the end when it is over or was left by network_set
};

void network_start(network &net, int64_t now_ns);

// Takes the steps that are due. true: the status is another than before; call again for the next one.
bool network_step(network &net, int64_t now_ns);

// When the next step is due; INT64_MAX: none is.
int64_t network_due_ns(const network &net);

// From now on this status and no other. true: it is another than before.
bool network_set(network &net, const std::string &status);

bool network_is_up(const network &net);
