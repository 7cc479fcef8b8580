// SPDX-License-Identifier: MIT
// card.h - the memory card: a file system of fixed size that lies ready somewhere else, and is in the camera
// when the place where programs look for it leads there. What is on it stays while it is out.
#pragma once

#include <cstdint>
#include <string>

struct card {
    std::string medium; // the file system; empty: this camera has no card
    std::string place;  // where programs look for it
};

bool card_is_in(const card &card);

// False: it cannot be done, errno says why.
bool card_put_in(const card &card);
bool card_take_out(const card &card);

struct card_figures {
    int64_t total_kib = 0;
    int64_t free_kib = 0;
    int64_t used_kib = 0;
};

card_figures card_look(const card &card); // all 0 when it cannot be read
