// SPDX-License-Identifier: MIT
// run_folder.h - where the programs of one virtual camera meet: $CAMERA_RUN, /run/camera inside the sandbox.
//
//   control   stage's socket: commands and the neighbours' and libraries' links, see control.h
//   journal   what happened, see journal.h
//   page      the clock and the journal's counter, shared memory, see clock.h
//   store     the store service's socket
//
// A program or library that finds no page runs on the system's clock and writes no journal, so that each
// can be tried alone. Paths are short: a Unix socket's name has 108 bytes.
#pragma once

#include <string>

std::string run_folder_path(const char *file); // "/run/camera/control" for "control"

// Who writes to the journal: $CAMERA_WHO, or the program's own name.
const char *run_folder_who(void);
