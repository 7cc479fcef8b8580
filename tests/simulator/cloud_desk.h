// SPDX-License-Identifier: MIT
// cloud_desk.h - a cloud client on a port of its own with a daemon that the case plays. Use it inside a
// STORY: the virtual clock stands still until it is stepped.
#pragma once

#include "cloud/cloud.h"

#include "harness.h"

#include <functional>
#include <string>

struct cloud_desk {
    cloud self;
    int daemon = -1; // the daemon's end
};

// The network is at its first step then. bind_status: the nvram value as the cloud client reads it; "" is
// none. The camera's device id is 123.
void cloud_desk_open(cloud_desk &desk, const char *bind_status = "ok", bool bind = true);
void cloud_desk_close(cloud_desk &desk);

// What the cloud client finds in the store, under "nvram did".
void store_holds(const std::string &space_and_key, const std::string &value);

// Lets the cloud client work until the condition holds; the case fails when it does not within 10 s.
void cloud_works_until(cloud_desk &desk, const std::function<bool()> &condition);

void daemon_connects(cloud_desk &desk);
void daemon_says(const cloud_desk &desk, const std::string &bytes);

// The daemon announces methods, and the cloud client has taken notice.
void daemon_announces(cloud_desk &desk, const std::vector<std::string> &methods);

// What the daemon receives until the bytes end with text.
std::string daemon_hears_up_to(cloud_desk &desk, const std::string &text);

// All that the daemon has been sent until now.
std::string daemon_hears(cloud_desk &desk);

// Steps the network all the way up, and throws away what the daemon is told of it.
void network_comes_up(cloud_desk &desk);

// The texts of the journal's lines of this kind.
std::vector<std::string> journal_texts(const char *what, const char *member = "text");

// One command, as its answer's text.
std::string command(cloud_desk &desk, const char *name, const std::string &arguments = "{}");
