// SPDX-License-Identifier: MIT
// handle.h - the inside of libselvar: one connection to the store and what is expected from it.
//
// There is no thread. Requests go out at once, as far as the socket takes them; the rest follows when it
// takes more. Whatever arrives is kept in `arrived` until its callback is run. The descriptor that the user
// polls is an epoll set of three: the socket, a timer for the next time-out, and an eventfd that is readable
// while something waits in here. It stays the same for the life of the handle and only ever reports POLLIN.
#pragma once

#include "store/wire.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>

#pragma GCC visibility push(default)
#include "libselvar.h"
#pragma GCC visibility pop

struct xresponse {
    wire_message message;
};

// A request that has not been answered.
struct expected {
    selvar_callback reply = nullptr;
    selvar_callback timed_out = nullptr;
    int64_t deadline_ns = 0; // virtual monotonic; 0: none
    wire_message request;    // without its value
};

struct registration {
    selvar_callback notify = nullptr;
    uint64_t first_id = 0; // notifications for an earlier request belong to a registration that was ended
};

using watched_key = std::pair<std::string, std::string>; // space, key

struct selvar_handle {
    int socket = -1;
    int set = -1; // epoll
    int timer = -1;
    int wake = -1;
    bool gone = false;   // the connection; `arrived` may still hold something
    bool closed = false; // by a callback: freed when the last call returns
    bool waits_for_get = false;
    bool listens_for_room = false; // the socket was full
    bool awake = false;            // the eventfd is readable
    int depth = 0;                 // calls that are running callbacks
    uint64_t last_id = 0;
    int64_t armed_ns = 0; // what the timer was set for; 0: it is not
    wire_buffer in;
    wire_buffer out;
    std::deque<wire_message> arrived;
    std::map<uint64_t, expected> expecting;           // by the request's id
    std::set<std::pair<int64_t, uint64_t>> deadlines; // moment, id
    std::map<watched_key, registration> watched;
};

// connection.cpp: bytes and descriptors; runs no callback.

selvar_handle *connection_open();
void connection_free(selvar_handle *handle); // when all is sent, or the store has taken nothing for a second

// False: the connection is gone, or the message is too long.
bool connection_send(selvar_handle *handle, const wire_message &message);

// Sends what waits and moves what has come into `arrived`.
void connection_exchange(selvar_handle *handle);

// Waits for input, or for room when there is something to send, at most host_ms of the host's time.
void connection_wait(selvar_handle *handle, int host_ms);

// Makes the handle readable while something waits in `arrived`, or the connection is gone.
void connection_set_wake(selvar_handle *handle);

// Sets all descriptors for what the handle now waits for. At the end of every call that changes it.
void connection_rearm(selvar_handle *handle);
