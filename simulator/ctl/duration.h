// SPDX-License-Identifier: MIT
// duration.h - a time as a person writes it: a whole number and a unit, "500ms", "2s", "30m", "24h" or "7d".
#pragma once

#include <cstdint>
#include <string>

// In ms, at most a century. -1: the text is none.
int64_t duration_ms(const std::string &text);

std::string duration_units(); // for a sentence: "500ms, 2s, 30m, 24h or 7d"
