// SPDX-License-Identifier: MIT
// sandbox.h - the bubblewrap around a virtual camera: user, process, network, IPC and host name of its own,
// no capability, and a root that holds only what is put there. So every fixed path, port and key of the
// daemon and its signal to process 1 are real and harmless.
#pragma once

#include "ctl/place.h"

#include <sys/types.h>

#include <string>
#include <vector>

// Tries an empty sandbox of the same kind. "": it works; otherwise one sentence that says what helps.
std::string sandbox_trouble(const place &where);

// What is in the environment of the programs inside, as "NAME=VALUE".
std::vector<std::string> sandbox_environment();

// Starts stage with its arguments as process 1 of a sandbox, which ends with the calling process. What is
// printed inside goes to the run folder's "output". The returned process is the sandbox; -1 and errno.
pid_t sandbox_start(const place &where, const std::vector<std::string> &stage_arguments);
