// SPDX-License-Identifier: MIT
// message_bus.h - what a test turns on the fake of the message bus, what the daemon sent over it, and the
// events that it lets the player cause.
#pragma once

#include <libwrax.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

struct bus_fakes {
    bool create_fails = false;
    bool player_listens = false; // a start fails while it does not
    int fd = 60;
    int send_result = 0; // of a send that works
    int poll_result = 0;
    std::optional<int> poll_errno; // with a negative poll_result; without a value errno stays as it was
    std::function<void()> on_send; // what else happens at the moment of a send
};

extern bus_fakes bus;

void bus_reset();

struct bus_message {
    std::string bytes;
    const void *at; // where they lay
};

std::vector<bus_message> bus_messages(); // those that went out, in order
std::vector<std::string> bus_texts();    // their bytes alone
void bus_forgets_messages();
void bus_send_fails(int nth); // from now on, once; 1 is the next. The message is not among those above

int bus_receivers();            // created and not yet destroyed
const wrax_rcv *bus_receiver(); // the latest

// Let the player act. Events wait until wrax_rcv_poll runs their handlers; the poll after the one that
// brought bus_player_leaves fails with ENOTCONN.
void bus_player_connects();
void bus_player_leaves();
void bus_player_says(const std::string &header, const std::string &text); // header: 12 bytes

int bus_last_result(); // what the handler that ran last returned
