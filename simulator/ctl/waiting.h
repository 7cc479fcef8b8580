// SPDX-License-Identifier: MIT
// waiting.h - waiting for what happens in a camera, whose socket CAMERA_RUN names: the one way for tools and
// tests.
//
// Everything goes through the journal, line by line in its order. A state is also looked at: in the
// beginning, after lines that may have changed it, and when the time is up.
#pragma once

#include "ctl/goal.h"
#include "ctl/journal_reader.h"

#include <cstdint>
#include <string>
#include <vector>

struct wait_limits {
    int64_t until_ms = -1; // virtual; -1: none. A line that is later does not count
    int host_ms = -1;      // of host time; -1: none
    int64_t after_n = 0;   // lines up to this number do not count
};

enum class wait_end {
    came,
    late,      // the virtual clock has passed the limit
    host_late, // the host's time is up
    gone,      // the camera stopped meanwhile
};

struct wait_result {
    wait_end end = wait_end::came;
    json_ptr line;       // with which it came; NULL: it held when it was looked at
    std::string present; // what was seen when it was looked at last; "" for an event
};

// Reads on in the journal until the goal has come. May be called again to go on waiting. There must be a
// limit.
wait_result wait_for(const goal &goal, journal_reader &journal, const wait_limits &limits);

// The last lines of the journal that tell about the same thing, oldest first, at most so many.
std::vector<json_ptr> wait_history(const goal &goal, const std::string &run_folder, size_t most);
