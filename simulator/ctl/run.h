// SPDX-License-Identifier: MIT
// run.h - starting a camera, and what must be there for that.
#pragma once

#include "ctl/commands.h"

int run_camera(const ctl_request &request);
int check_system(const ctl_request &request);
int run_tests(const ctl_request &request); // hands over to the camera script
