// SPDX-License-Identifier: MIT
// clients.h - who is connected to the store: their requests, the keys they watch, what is on its way to them.
//
// No client can hold up another: nothing here waits. A client that does not read is not listened to once
// much is on its way to it, and is dropped when that grows beyond all bounds through the changes of others.
#pragma once

#include "store/wire.h"

#include <poll.h>

#include <string>
#include <vector>

struct watch {
    std::string space;
    std::string key;
    uint64_t id = 0;
};

struct client {
    int fd = -1;
    std::string who; // empty: has not said hello
    wire_buffer in;
    wire_buffer out;
    std::vector<watch> watches;    // in the order of registration
    bool deaf = false;             // takes nothing any more; what it has sent still counts
    bool ended = false;            // has sent its last byte
    bool stalled = false;          // requests wait in `in` until `out` has shrunk
    const char *dropped = nullptr; // why it is to be closed
};

// Listens at the path, in the place of a socket that a killed store left. False: problem is a sentence.
bool clients_listen(const std::string &path, std::string &problem);
void clients_close(); // sends what the sockets still take

// Adds the descriptors to wait for; clients_run takes the same part of the array back after poll.
void clients_wait_for(std::vector<pollfd> &waiting);
void clients_run(const pollfd *ready);

// Requests wait that need no more input: do not sleep.
bool clients_have_work();

void clients_send(client &receiver, const wire_message &message);

// Tells everybody who watches the key what it has now.
void clients_notify(const std::string &space, const std::string &key);

// Tells everybody who watches a key of the namespace what it has now, key by key in the order of
// registration.
void clients_notify_all(const std::string &space);

// Sends the watched key's present value to one client.
void clients_notify_one(client &receiver, const watch &watched);
