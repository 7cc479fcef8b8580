// SPDX-License-Identifier: MIT
// preset.h - the builds of which a camera can be run, each with a tool of its own.
#pragma once

#include "ctl/commands.h"

// true: --preset asks for this tool's build, or for none. Otherwise the tool of that build is executed with
// the same words; false: that failed and was said, status is the exit status.
bool preset_is_ours(const ctl_request &request, int &status);

std::string preset_of(const place &where); // "asan" of build/asan
