// SPDX-License-Identifier: MIT
// daemon_link.h - the cloud's connection to the daemon: never blocks, whatever the other side does or leaves
// undone.
#pragma once

#include "cloud/stream.h"

#include <cstdint>
#include <deque>
#include <string>

struct daemon_link {
    int fd = -1; // -1: no daemon
    stream in;
    int64_t held_since_ns = 0;   // virtual time at which the held part of a message last grew
    std::deque<std::string> out; // whole messages that wait for room in the socket
    size_t out_bytes = 0;
    size_t first_gone = 0; // bytes of out.front() that the socket has taken
};

// What becomes of a message: called once when its first byte is about to go.
using link_sent = void (*)(void *argument, const std::string &text);

// A listening socket on 127.0.0.1; port 0 takes any free one. -1 and errno.
int link_listen(uint16_t port);

// Takes the connection that waits at the listener in the place of the present one. false: none waits.
bool link_accept(daemon_link &link, int listener);
void link_close(daemon_link &link);

// Queues one message. false: no daemon, or it has not read for so long that the queue is full.
bool link_send(daemon_link &link, const std::string &text);

// Hands to the socket what it takes. false: the connection is gone.
bool link_flush(daemon_link &link, link_sent sent, void *argument);

// Reads what has arrived. false: the daemon has closed the connection, or it broke.
bool link_receive(daemon_link &link);
