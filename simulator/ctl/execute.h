// SPDX-License-Identifier: MIT
// execute.h - becoming another program, or running it.
#pragma once

#include <string>
#include <vector>

// The first word is the program, looked for in PATH when it has no slash. Returns only when that failed;
// errno says why.
void execute(const std::vector<std::string> &line);

// Runs it as a child instead, without showing what it says, which is added to words. Its status, as
// waitpid(2) tells it.
int execute_and_listen(const std::vector<std::string> &line, std::string &words);
