// SPDX-License-Identifier: MIT
// cloud.h - the virtual camera's cloud client: the daemon's neighbour on 127.0.0.1:54320.
//
// One thread, one loop: cloud_wait sleeps until something is to be done and does it. What happens goes to the
// journal; what the outside wants comes through cloud_answer.
#pragma once

#include "cloud/daemon_link.h"
#include "cloud/network.h"
#include "cloud/property_exchange.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct cloud_settings {
    uint16_t port = 54320;
    bool bind = true; // bind a camera that is not bound

    // The value of a key; none: there is none, or the store does not answer.
    std::optional<std::string> (*read_store)(const char *space, const char *key) = nullptr;
    // Writes a journal line; takes fields, which may be NULL.
    void (*note)(const char *what, json_object *fields) = nullptr;
    // Keeps what the cloud believes of the camera for its next life; NULL: it is forgotten.
    void (*save)(const std::string &memory) = nullptr;
};

struct cloud {
    cloud_settings settings;
    int listener = -1;
    daemon_link daemon;
    std::vector<std::string> methods; // announced on the present connection
    network net;
    property_exchange properties;
    int32_t last_id = 0;
    bool binding_settled = false; // for the present connection and network
};

// Listens and starts the way into the network. false: the port is taken, errno says why.
bool cloud_open(cloud &self, const cloud_settings &settings);
void cloud_close(cloud &self);

// Waits for the daemon, for the next step of the network, or until other_fd (-1: none) is readable, at most a
// second, and serves the first two.
void cloud_wait(cloud &self, int other_fd);

// One command of the control socket, without the neighbour's name, as commands.cpp lists them. {"done":..} or
// {"refused":..}, the caller's.
json_object *cloud_answer(cloud &self, const char *command, json_object *arguments);

// Sends a request with the next id; takes params. {"done":{"text":..,"id":..}} or {"refused":..}.
json_object *cloud_request(cloud &self, const std::string &method, json_object *params);

// Sends it now, as far as the daemon reads. false: there is no daemon, or it has long stopped reading.
bool cloud_send(cloud &self, const std::string &text);

// Tells the daemon and the journal how a binding to an account has ended: "ok", or a text that begins with
// "fail". false as above.
bool cloud_bind(cloud &self, const std::string &result);

// Tells the daemon and the journal what the network is now.
void cloud_tell_network(cloud &self);
