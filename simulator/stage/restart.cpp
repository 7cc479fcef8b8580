// SPDX-License-Identifier: MIT
#include "stage/restart.h"

#include <algorithm>

int restart_pause_ms(int last_pause_ms, int64_t lived_ms)
{
    if (last_pause_ms <= 0 || lived_ms >= restart_good_life_ms)
        return restart_first_ms;
    return std::min(last_pause_ms * 2, restart_longest_ms);
}
