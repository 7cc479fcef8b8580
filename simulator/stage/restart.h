// SPDX-License-Identifier: MIT
// restart.h - how long to wait before a program that died is started again, and how often that was. Times in
// ms of virtual time.
#pragma once

#include <cstdint>
#include <string>

constexpr int restart_first_ms = 100;
constexpr int restart_longest_ms = 5000;
constexpr int64_t restart_good_life_ms = 10'000; // who lived that long starts with the first pause again

// The pause after a life of lived_ms, when the pause before that life was last_pause_ms (0: there was none).
int restart_pause_ms(int last_pause_ms, int64_t lived_ms);

// Adds the restarts of a program to a file of lines "name count", which whoever reads it takes away. Without
// the file's folder nothing is counted.
void restart_count(const std::string &path, const std::string &name, int restarts);
