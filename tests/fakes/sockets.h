// SPDX-License-Identifier: MIT
// sockets.h - what the daemon sent, send by send, and the other ends of its sockets.
#pragma once

#include "fakes/record.h"

// One send: kept whatever the descriptor is; passed on when the descriptor is a real socket.
struct sent_message {
    int fd;
    std::string text;
    int flags;
};

std::vector<sent_message> sends();
texts sent_texts(); // the texts alone, in order; in calls() a send is send(fd, text)
void sends_reset(); // forgets what was sent, and the two below
void next_send_gives(long result, int error); // once: sends nothing on, returns result

// A connected pair: one end for the daemon, the other for the test in the cloud client's place.
struct cloud_pair {
    int daemon = -1;
    int cloud = -1;

    cloud_pair();
    ~cloud_pair();
    cloud_pair(const cloud_pair &) = delete;
    cloud_pair &operator=(const cloud_pair &) = delete;

    void writes(const std::string &text) const;
    void hangs_up();
    std::string reads() const; // everything that has arrived
    bool daemon_end_is_open() const;
    bool daemon_has_hung_up() const; // closed or shut down, and all that it sent has been read
};

// A listener on a free port of 127.0.0.1, in the place of 127.0.0.1:54320.
struct cloud_listener {
    int fd = -1;

    cloud_listener();
    ~cloud_listener();
    cloud_listener(const cloud_listener &) = delete;
    cloud_listener &operator=(const cloud_listener &) = delete;

    int accepts() const; // the accepted descriptor; the caller closes it
};

// All that arrives on fd until wanted bytes are there or a second has passed.
std::string read_exactly(int fd, size_t wanted);
