// SPDX-License-Identifier: MIT
// processes.h - a camera's processes, as this system numbers them.
#pragma once

#include "ctl/place.h"

#include <sys/types.h>

#include <cstdint>

// Process 1 of the camera; -1: the camera does not run.
pid_t processes_stage(const place &where);

// The program of the camera that has this number inside; -1: there is none.
pid_t processes_inside(const place &where, int64_t number);

// Who traces the process, as a debugger does; 0: nobody.
pid_t processes_tracer(pid_t pid);
