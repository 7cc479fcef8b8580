// SPDX-License-Identifier: MIT
// execute.h - becoming another program.
#pragma once

#include <string>
#include <vector>

// The first word is the program, looked for in PATH when it has no slash. Returns only when that failed;
// errno says why.
void execute(const std::vector<std::string> &line);
