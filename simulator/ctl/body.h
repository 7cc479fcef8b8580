// SPDX-License-Identifier: MIT
// body.h - what a hand does to the camera: its reset key; and its clock.
#pragma once

#include "ctl/commands.h"

int press_key(const ctl_request &request);
int release_key(const ctl_request &request);
int hold_key(const ctl_request &request);
int show_or_step_clock(const ctl_request &request);
