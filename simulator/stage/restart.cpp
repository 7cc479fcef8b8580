// SPDX-License-Identifier: MIT
#include "stage/restart.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

int restart_pause_ms(int last_pause_ms, int64_t lived_ms)
{
    if (last_pause_ms <= 0 || lived_ms >= restart_good_life_ms)
        return restart_first_ms;
    return std::min(last_pause_ms * 2, restart_longest_ms);
}

void restart_count(const std::string &path, const std::string &name, int restarts)
{
    std::string others;
    std::string word;
    int count = 0;
    std::ifstream before(path);
    while (before >> word >> count) {
        if (word == name)
            restarts += count;
        else
            others += word + " " + std::to_string(count) + "\n";
    }
    // Whole or not at all, whenever it is read.
    const std::string made = path + ".new";
    std::ofstream(made) << others << name << " " << restarts << "\n";
    rename(made.c_str(), path.c_str());
}
