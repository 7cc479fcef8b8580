// SPDX-License-Identifier: MIT
// steer.h - ending and replacing a camera's programs, and the camera.
#pragma once

#include "ctl/commands.h"

// Ends the camera in order, or at once when that does not help. false: it still runs.
bool steer_end_camera(const place &where);

int stop_camera(const ctl_request &request);
int kill_program(const ctl_request &request);
int reboot_camera(const ctl_request &request);
int restart_daemon(const ctl_request &request);
