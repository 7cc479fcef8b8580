// SPDX-License-Identifier: MIT
// defaults.h - what a camera's nvram holds when it leaves the factory.
//
// A text file: one "key = value" a line, blanks around both are dropped, an empty value is the text "". Lines
// that are empty or begin with # say nothing. All values are texts.
#pragma once

#include "store/wire.h"

#include <map>
#include <string>

using key_map = std::map<std::string, wire_value>;

// False: problem is one sentence that names the file and the line.
bool defaults_read(const std::string &file, key_map &values, std::string &problem);
