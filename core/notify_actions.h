// SPDX-License-Identifier: MIT
// notify_actions.h - what a change of a store key does, one row a key. Main thread only.
#pragma once

#include <cstdint>

// One of the two functions is set. value is NULL only where the row accepts it.
struct notify_action {
    const char *key;
    void (*run)(const char *value);
    void (*run_number)(uint64_t value) = nullptr;
    bool accepts_null = false;
};

const notify_action *notify_action_find(const char *key); // NULL: no row
