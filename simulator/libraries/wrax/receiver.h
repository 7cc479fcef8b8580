// SPDX-License-Identifier: MIT
// receiver.h - the receiver behind libwrax.h, shared by libwrax and libwraxev. For now the bus has no
// transport: nobody listens anywhere, so no receiver ever gets a descriptor or an event.
#pragma once

#pragma GCC visibility push(default)
#include "libwrax.h"
#pragma GCC visibility pop

#include <string>

constexpr int wrax_event_count = 4; // 0 connected, 1 left, 3 message; 2 is not used

struct wrax_subscription {
    wrax_rcv_handler handler = nullptr;
    void *argument = nullptr;
};

struct wrax_rcv {
    std::string path;
    int fd = -1; // -1: not started
    wrax_subscription subscriptions[wrax_event_count];
};
