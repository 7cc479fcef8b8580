// SPDX-License-Identifier: MIT
// with.h - a fresh camera for the life of one command.
#pragma once

#include "ctl/commands.h"

// The exit status is the command's, 128 + its signal, 127 when it cannot be executed; 1 when only a sanitizer
// found something. The camera and its folders are gone afterwards.
int with_camera(const ctl_request &request);
