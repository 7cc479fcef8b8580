// SPDX-License-Identifier: MIT
#include "ctl/execute.h"

#include <unistd.h>

void execute(const std::vector<std::string> &line)
{
    std::vector<char *> arguments;
    arguments.reserve(line.size() + 1);
    for (const std::string &word : line)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
}
