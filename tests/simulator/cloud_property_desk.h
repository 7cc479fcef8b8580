// SPDX-License-Identifier: MIT
// cloud_property_desk.h - a cloud client whose daemon serves properties, see cloud_desk.h.
#pragma once

#include "cloud_desk.h"

void property_desk_open(cloud_desk &desk);

// The sentence with which a command is refused.
std::string refusal(cloud_desk &desk, const char *name, const std::string &arguments);

// "property=value from" for each property that the cloud has a value of.
std::vector<std::string> believed(cloud_desk &desk);

// The daemon sends a message, and the cloud client has taken it.
void daemon_answers(cloud_desk &desk, const std::string &text);

// A report as the daemon writes it; the value in JSON, or not.
std::string property_report(const std::string &number, const std::string &value);
