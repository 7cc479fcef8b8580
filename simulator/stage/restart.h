// SPDX-License-Identifier: MIT
// restart.h - how long to wait before a program that died is started again. Pure functions; times in ms of
// virtual time.
#pragma once

#include <cstdint>

constexpr int restart_first_ms = 100;
constexpr int restart_longest_ms = 5000;
constexpr int64_t restart_good_life_ms = 10'000; // who lived that long starts with the first pause again

// The pause after a life of lived_ms, when the pause before that life was last_pause_ms (0: there was none).
int restart_pause_ms(int last_pause_ms, int64_t lived_ms);
