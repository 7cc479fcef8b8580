// SPDX-License-Identifier: MIT
// children.h - runs what ends the process in a child, and brings its record back.
#pragma once

#include "fakes/record.h"

#include <functional>

struct child_result {
    bool exited;     // false: a signal ended it
    int exit_status; // or the signal's number
    texts story;     // of the child alone
};

// The child begins with an empty record. body may end the process or return (exit status 0).
child_result run_in_child(const std::function<void()> &body);
