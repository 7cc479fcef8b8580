// SPDX-License-Identifier: MIT
#include "stage/head.h"

#include <algorithm>
#include <cstdlib>

constexpr int64_t ns_per_s = 1'000'000'000;

static int64_t axis_rest_ns(const head_axis &axis, const head_rules &rules)
{
    return axis.start_ns + std::abs(axis.to - axis.from) * ns_per_s / rules.speed;
}

static int axis_at(const head_axis &axis, const head_rules &rules, int64_t now_ns)
{
    if (now_ns >= axis_rest_ns(axis, rules))
        return axis.to;
    const int64_t since_ns = std::max<int64_t>(now_ns - axis.start_ns, 0);
    const auto passed = static_cast<int>(since_ns * rules.speed / ns_per_s);
    return axis.to < axis.from ? axis.from - passed : axis.from + passed;
}

static int64_t rest_ns(const head_state &head)
{
    return std::max(axis_rest_ns(head.h, head_h), axis_rest_ns(head.v, head_v));
}

head_point head_at(const head_state &head, int64_t now_ns)
{
    return { .h = axis_at(head.h, head_h, now_ns), .v = axis_at(head.v, head_v, now_ns) };
}

head_point head_target(const head_state &head)
{
    return { .h = head.h.to, .v = head.v.to };
}

static bool axis_moves(const head_axis &axis, const head_rules &rules, int64_t now_ns)
{
    return axis_rest_ns(axis, rules) > now_ns;
}

bool head_moves(const head_state &head, int64_t now_ns)
{
    return rest_ns(head) > now_ns;
}

std::string head_text(head_point point)
{
    return "[" + std::to_string(point.h) + "," + std::to_string(point.v) + "]";
}

// False: there is no room on that side.
static bool aim(head_axis &axis, const head_rules &rules, int target, int64_t now_ns)
{
    const int from = axis_at(axis, rules, now_ns);
    const int to = std::clamp(target, rules.first, rules.last);
    if (to == from)
        return false;
    axis = { .from = from, .to = to, .start_ns = now_ns };
    return true;
}

static void halt(head_axis &axis, const head_rules &rules, int64_t now_ns)
{
    const int at = axis_at(axis, rules, now_ns);
    axis = { .from = at, .to = at, .start_ns = now_ns };
}

// From now on the move is told, at moments that go on when it is sent elsewhere.
static void tell(head_state &head, int64_t now_ns)
{
    if (!head.told)
        head.tell_next_ns = now_ns + head_told_every_ns;
    head.told = true;
    head.unsettled = true;
}

// Reads the mark and the number after it.
static bool take_number(const char *&at, char mark, int &number)
{
    if (*at != mark)
        return false;
    char *end = nullptr;
    const long read = std::strtol(at + 1, &end, 10);
    if (end == at + 1)
        return false;
    constexpr long far_beyond = 1000; // any travel
    number = static_cast<int>(std::clamp(read, -far_beyond, far_beyond));
    at = end;
    return true;
}

static bool read_text(const std::string &text, head_point &point)
{
    const char *at = text.c_str();
    return take_number(at, '[', point.h) && take_number(at, ',', point.v);
}

// Rounded to the nearest position; a turn is never so small that nothing moves.
static int positions_of(int degrees, const head_rules &rules)
{
    const int travel = rules.last - rules.first;
    const int bounded = std::min(degrees, rules.degree);
    return std::max((bounded * travel + rules.degree / 2) / rules.degree, 1);
}

struct head_row {
    int operation;
    bool (*run)(head_state &head, const head_row &row, const head_request &request, int64_t now_ns);
    head_axis head_state::*axis; // of a step or a turn
    const head_rules *rules;     //
    int direction;               //
};

static bool aim_row(head_state &head, const head_row &row, int positions, int64_t now_ns)
{
    head_axis &axis = head.*row.axis;
    return !axis_moves(axis, *row.rules, now_ns) &&
           aim(axis, *row.rules, axis.to + row.direction * positions, now_ns);
}

static bool step(head_state &head, const head_row &row, const head_request &, int64_t now_ns)
{
    if (!aim_row(head, row, row.rules->step, now_ns))
        return false;
    tell(head, now_ns);
    return true;
}

static bool turn(head_state &head, const head_row &row, const head_request &request, int64_t now_ns)
{
    if (request.degrees <= 0 || !aim_row(head, row, positions_of(request.degrees, *row.rules), now_ns))
        return false;
    head.unsettled = true;
    return true;
}

static bool go(head_state &head, const head_row &, const head_request &request, int64_t now_ns)
{
    head_point target = {};
    if (!read_text(request.text, target))
        return false;
    if (!aim(head.h, head_h, target.h, now_ns))
        halt(head.h, head_h, now_ns);
    if (!aim(head.v, head_v, target.v, now_ns))
        halt(head.v, head_v, now_ns);
    tell(head, now_ns);
    return true;
}

static bool reset(head_state &head, const head_row &row, const head_request &request, int64_t now_ns)
{
    return !head_moves(head, now_ns) && go(head, row, request, now_ns);
}

static bool slide(head_state &head, const head_row &, const head_request &request, int64_t now_ns)
{
    head_point by = {};
    if (head_moves(head, now_ns) || !read_text(request.text, by))
        return false;
    const bool moves_h = aim(head.h, head_h, head.h.to + by.h, now_ns);
    const bool moves_v = aim(head.v, head_v, head.v.to + by.v, now_ns);
    if (!moves_h && !moves_v)
        return false;
    tell(head, now_ns);
    return true;
}

static bool stop(head_state &head, const head_row &, const head_request &, int64_t now_ns)
{
    halt(head.h, head_h, now_ns);
    halt(head.v, head_v, now_ns);
    tell(head, now_ns);
    return true;
}

// clang-format off
static constexpr head_row head_rows[] = {
    { 1,  step,  &head_state::h, &head_h, -1 },
    { 2,  step,  &head_state::h, &head_h, +1 },
    { 3,  step,  &head_state::v, &head_v, +1 },
    { 4,  step,  &head_state::v, &head_v, -1 },
    { 5,  reset, nullptr,        nullptr, 0  },
    { 6,  stop,  nullptr,        nullptr, 0  },
    { 7,  turn,  &head_state::h, &head_h, +1 },
    { 8,  turn,  &head_state::h, &head_h, -1 },
    { 9,  turn,  &head_state::v, &head_v, +1 },
    { 10, turn,  &head_state::v, &head_v, -1 },
    { 11, go,    nullptr,        nullptr, 0  },
    { 12, slide, nullptr,        nullptr, 0  },
};
// clang-format on

bool head_move(head_state &head, const head_request &request, int64_t now_ns)
{
    for (const head_row &row : head_rows) {
        if (row.operation == request.operation)
            return row.run(head, row, request, now_ns);
    }
    return false;
}

void head_power_off(head_state &head, int64_t now_ns)
{
    halt(head.h, head_h, now_ns);
    halt(head.v, head_v, now_ns);
    head.told = head.unsettled = false;
}

int64_t head_news_due_ns(const head_state &head)
{
    if (!head.unsettled)
        return INT64_MAX;
    return head.told ? std::min(head.tell_next_ns, rest_ns(head)) : rest_ns(head);
}

std::optional<head_news> head_take_news(head_state &head, int64_t now_ns)
{
    const int64_t due_ns = head_news_due_ns(head);
    if (due_ns > now_ns)
        return {};
    const head_news news = { .rests = !head_moves(head, due_ns),
                             .told = head.told,
                             .at = head_at(head, due_ns) };
    head.tell_next_ns += head_told_every_ns;
    if (news.rests)
        head.told = head.unsettled = false;
    return news;
}
