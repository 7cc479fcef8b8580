// SPDX-License-Identifier: MIT
// switches.h - what the camera's other programs, its owner and the network do to it.
#pragma once

#include "ctl/commands.h"

int switch_track(const ctl_request &request);
int switch_update(const ctl_request &request);
int switch_card(const ctl_request &request);
int set_network(const ctl_request &request);
int bind_camera(const ctl_request &request);
int unbind_camera(const ctl_request &request);
int rotate_head(const ctl_request &request);
