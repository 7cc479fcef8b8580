// SPDX-License-Identifier: MIT
// commands.h - the table of all commands, and what is printed from it.
#pragma once

#include "ctl/options.h"
#include "ctl/place.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Exit statuses of every command.
constexpr int ctl_done = 0;
constexpr int ctl_refused = 1;   // the camera said no, and why
constexpr int ctl_could_not = 2; // it was not even tried: wrong words, or no camera to ask

constexpr size_t any_number = SIZE_MAX; // of arguments

struct ctl_request {
    ctl_options options;
    std::vector<std::string> arguments; // what follows the command's name
    std::vector<std::string> line;      // all words as they came
    place where;
};

struct ctl_command {
    const char *name; // one or two words
    const char *arguments;
    size_t least; // how many arguments
    size_t most;
    const char *options; // that it takes beside --name, --json and --help, by their names with blanks between
    const char *help;    // one line
    int (*run)(const ctl_request &request);
    std::string (*more)() = nullptr; // further help, after the options
};

// In the order in which help shows them.
std::span<const ctl_command> commands_table();

// What the words of a line ask for, once they are right: NULL and a sentence in reason when they are not.
// used: how many words the command's name has.
const ctl_command *commands_find(const std::vector<std::string> &words, size_t &used, std::string &reason);

// A sentence about options or arguments that the command does not take; empty: all is well.
std::string commands_check(const ctl_command &command, const ctl_request &request);

std::string commands_usage(const ctl_command &command); // "./camera call METHOD [PARAMS]"
std::string commands_help();                            // everything
std::string commands_help_for(const ctl_command &command);

// The whole way from the words after "./camera" to the exit status.
int commands_run(const std::vector<std::string> &line);
