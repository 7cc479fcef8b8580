// SPDX-License-Identifier: MIT
// receiver.h - the receiver behind libwrax.h, shared by libwrax and libwraxev; what goes over its socket is
// described in player/wire.h.
//
// It is connected from the player's hello to its end, as its owner is told with the events 0 and 1. Before
// the hello nothing can be sent: a player that never comes to serve the connection would lose it.
#pragma once

#pragma GCC visibility push(default)
#include "libwrax.h"
#pragma GCC visibility pop

#include "player/wire.h"

#include <sys/un.h>

constexpr int wrax_event_count = 4; // 0 connected, 1 left, 3 message; 2 is not used

struct wrax_subscription {
    wrax_rcv_handler handler = nullptr;
    void *argument = nullptr;
};

struct wrax_rcv {
    sockaddr_un address = {};
    int fd = -1;          // -1: not started. Stays open, and readable, when the player has left.
    bool greeted = false; // the player has said hello
    bool gone = false;    // it has left, and all that it sent was delivered
    bool stuck = false;   // it was waited for in vain: not again before it has read
    wrax_subscription subscriptions[wrax_event_count];
    char message[bus_longest + 1] = {}; // what a handler is given
};
