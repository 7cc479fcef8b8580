// SPDX-License-Identifier: MIT
// rotation.h - the shared block through which other processes of the camera turn its head, used as one of
// them would: under the block's mutex, the text before the mark that it waits. Never blocks, and never
// trusts the block further than its size.
#pragma once

#include <sys/types.h>

#include <string>

constexpr key_t rotation_key = 0x1122;
constexpr size_t rotation_longest = 31; // of a text

enum class rotation_state {
    absent,   // there is no block: nobody takes commands
    unusable, // it is too small, or cannot be attached or locked
    locked,   // somebody else is at it
    waiting,  // a command waits in it
    free,     // none does
};

// What the block is like now.
rotation_state rotation_look(key_t key);

// Posts the text if the block is free; what it was like before.
rotation_state rotation_post(key_t key, const std::string &text);

// What a reboot does to it: it is gone, whoever is attached.
void rotation_remove(key_t key);
