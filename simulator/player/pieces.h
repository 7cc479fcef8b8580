// SPDX-License-Identifier: MIT
// pieces.h - puts the prompts of one connection together: a prompt comes in messages of 65,536 bytes and a
// last one that may be shorter. A full message is the last one when the head of the file says that it ends
// there; without such a head, when nothing follows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct prompt_pieces {
    std::string held;
    int64_t grown_ns = 0; // when the held part last grew
};

// How long the next piece may take, in virtual time. More than a second: a daemon that sends reads no tick
// meanwhile, and without it the clock stands still at the next one.
constexpr int64_t pieces_patience_ns = 2'000'000'000;

enum class piece_kind {
    prompt, // whole, in bytes
    cut,    // the rest of it never came
    ban,
    unban,
};

struct piece {
    piece_kind kind;
    std::string bytes = {};
};

// Takes a message of the connection: what it completes, in order; usually one or nothing.
std::vector<piece> pieces_take(prompt_pieces &pieces, const std::string &message, int64_t now_ns);

// Nothing more belongs to what is held, because the connection has ended or its patience has.
std::vector<piece> pieces_settle(prompt_pieces &pieces);
