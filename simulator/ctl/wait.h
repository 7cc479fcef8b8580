// SPDX-License-Identifier: MIT
// wait.h - waiting for something, in virtual time.
#pragma once

#include "ctl/commands.h"

// 0: it has come. 1: it did not come in time, or the camera stopped; what was seen instead is printed.
int wait_command(const ctl_request &request);

// What can be waited for, and what counts.
std::string wait_help();
