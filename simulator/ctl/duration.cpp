// SPDX-License-Identifier: MIT
#include "ctl/duration.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

struct unit_row {
    const char *name;
    int64_t ms;
};

static constexpr unit_row units[] = {
    { "ms", 1 }, { "s", 1000 }, { "m", 60'000 }, { "h", 3'600'000 }, { "d", 86'400'000 },
};

int64_t duration_ms(const std::string &text)
{
    constexpr size_t most_digits = 15;
    constexpr int64_t longest_ms = INT64_C(100) * 365 * 86'400'000;
    const auto is_digit = [](unsigned char letter) { return std::isdigit(letter) != 0; };
    const auto unit = std::find_if_not(text.begin(), text.end(), is_digit);
    const std::string digits(text.begin(), unit);
    if (digits.empty() || digits.size() > most_digits)
        return -1;
    const int64_t number = std::strtoll(digits.c_str(), nullptr, 10);
    for (const unit_row &row : units) {
        if (std::string(unit, text.end()) == row.name)
            return number <= longest_ms / row.ms ? number * row.ms : -1;
    }
    return -1;
}

std::string duration_units()
{
    return "500ms, 2s, 30m, 24h or 7d";
}
