// SPDX-License-Identifier: MIT
// steer.h - ending and replacing a camera's programs, and the camera.
#pragma once

#include "ctl/commands.h"

int stop_camera(const ctl_request &request);
int kill_program(const ctl_request &request);
int reboot_camera(const ctl_request &request);
int restart_daemon(const ctl_request &request);
