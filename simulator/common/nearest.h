// SPDX-License-Identifier: MIT
// nearest.h - what a mistyped name was probably meant to be.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// How many letters must be changed, added, left out or swapped with their neighbour to make one of the other.
size_t edit_distance(const std::string &one, const std::string &other);

// The names that resemble name, nearest first, at most three: few edits away, or one contains the other.
std::vector<std::string> nearest_names(const std::string &name, const std::vector<std::string> &names);

// "a", "b" or "c" in double quotes; empty for none.
std::string one_of(const std::vector<std::string> &names);

// A sentence's end: ", did you mean ...?" or, when nothing resembles name, the empty text.
std::string did_you_mean(const std::string &name, const std::vector<std::string> &names);
