// SPDX-License-Identifier: MIT
// head.h - the head that pans and tilts: where it is, is a function of virtual time. Plain state and rules,
// no input or output. stage's thread only; all times are virtual, in ns.
//
// Two axes, each with whole positions; h grows to the right, v upwards. Both may move at a time. What was
// moved by hand or by the app is told: the way now and then, and where it came to rest. A turn by degrees is
// not, so whoever is told of all else still knows the place that the head had before.
//
//   1..4    step left, right, up, down   busy while its axis moves
//   5       reset to "[h,v]"             busy while the head moves
//   6       halt where it is             never refused
//   7..10   turn right, left, up, down   by degrees, untold; busy while its axis moves
//   11      go to "[h,v]"                from wherever it is, also out of a move
//   12      slide by "[x,y]"             x positions to the right, y upwards; busy while the head moves
//
// A step, a turn or a slide that has no room at all is refused: the end of travel.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct head_rules {
    int first;  // its limits
    int last;   //
    int rest;   // where it is in a new camera
    int step;   // of the operations 1..4
    int speed;  // positions in a second
    int degree; // what its whole travel is
};

constexpr head_rules head_h = { .first = 0, .last = 100, .rest = 50, .step = 5, .speed = 20, .degree = 360 };
constexpr head_rules head_v = { .first = 0, .last = 100, .rest = 50, .step = 5, .speed = 16, .degree = 180 };
constexpr int64_t head_told_every_ns = 200'000'000;

struct head_axis {
    int from = 0; // where it was at start_ns
    int to = 0;
    int64_t start_ns = 0;
};

struct head_state {
    head_axis h = { .from = head_h.rest, .to = head_h.rest };
    head_axis v = { .from = head_v.rest, .to = head_v.rest };
    bool told = false;        // the present move is
    bool unsettled = false;   // it moves, or its rest is not yet taken as news
    int64_t tell_next_ns = 0; // of a move that is told
};

struct head_point {
    int h;
    int v;
};

head_point head_at(const head_state &head, int64_t now_ns);
head_point head_target(const head_state &head); // where it will rest
bool head_moves(const head_state &head, int64_t now_ns);

std::string head_text(head_point point); // "[h,v]"

// A motor operation, numbered as the kit numbers them, with the operand that it takes.
struct head_request {
    int operation = 0;
    std::string text = {}; // "[h,v]" of 5, 11 and 12; may be cut anywhere
    int degrees = 0;       // of 7..10, above 0
};

// False: end of travel, busy, no such operation or no such operand; the head goes on as before.
bool head_move(head_state &head, const head_request &request, int64_t now_ns);

// Without power it halts at once, and nobody is told.
void head_power_off(head_state &head, int64_t now_ns);

struct head_news {
    bool rests; // otherwise it is on its way
    bool told;
    head_point at;
};

// When there is news next; INT64_MAX: the head rests and all was taken.
int64_t head_news_due_ns(const head_state &head);

// The oldest news that is due. Nothing: none is.
std::optional<head_news> head_take_news(head_state &head, int64_t now_ns);
