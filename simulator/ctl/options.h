// SPDX-License-Identifier: MIT
// options.h - the words of a command line: options may stand anywhere, "--" ends them.
#pragma once

#include <string>
#include <vector>

struct ctl_options {
    std::string name;  // which camera
    std::string state; // "": the usual place
    std::string preset;
    std::string seed; // "": a fresh one
    std::string within;
    std::string since;
    std::string target;
    bool help = false;
    bool json = false;
    bool detach = false;
    bool fresh = false;
    bool unbound = false;
    bool speaker = false;
    bool follow = false;
    bool number = false;
    bool planted = false;

    std::vector<std::string> words;   // what is no option: the command and its arguments
    std::vector<std::string> options; // the names of the options that were given, in their order
};

struct option_row {
    const char *name; // with its dashes
    const char *argument;
    const char *help;
    bool ctl_options::*flag;
    std::string ctl_options::*text; // one of the two is null
};

// All options there are.
const std::vector<option_row> &options_table();

// false: reason is one sentence about the first bad option.
bool options_parse(const std::vector<std::string> &line, ctl_options &options, std::string &reason);
