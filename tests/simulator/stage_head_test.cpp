// SPDX-License-Identifier: MIT
// The head as a function of time: where it is when, what is refused, and what is told.
#include "stage/head.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

static constexpr int64_t ms = 1'000'000;

static std::string text_at(const head_state &head, int64_t now_ms)
{
    return head_text(head_at(head, now_ms * ms));
}

static bool move_at(head_state &head, int64_t now_ms, const head_request &request)
{
    return head_move(head, request, now_ms * ms);
}

static head_request go_to(const std::string &text)
{
    return { .operation = 11, .text = text };
}

// A head at rest in this place, of which all has been told.
static head_state head_in(int h, int v)
{
    head_state head;
    head.h = { .from = h, .to = h };
    head.v = { .from = v, .to = v };
    return head;
}

struct told_line {
    int64_t ms;
    std::string text; // "rests [h,v]", "moves [h,v]", with "untold " before it
};

static bool operator==(const told_line &one, const told_line &other)
{
    return one.ms == other.ms && one.text == other.text;
}

static std::ostream &operator<<(std::ostream &out, const told_line &line)
{
    return out << line.ms << " ms: " << line.text;
}

// All the news up to a moment, each taken when it is due.
static std::vector<told_line> news_until(head_state &head, int64_t until_ms)
{
    std::vector<told_line> lines;
    while (head_news_due_ns(head) <= until_ms * ms) {
        const int64_t due_ns = head_news_due_ns(head);
        const std::optional<head_news> news = head_take_news(head, due_ns);
        if (!news)
            break;
        lines.push_back({ due_ns / ms, std::string(news->told ? "" : "untold ") +
                                           (news->rests ? "rests " : "moves ") + head_text(news->at) });
    }
    return lines;
}

using told = std::vector<told_line>;

struct move_row {
    int from_h;
    int from_v;
    head_request request;
    int to_h;
    int to_v;
    int64_t takes_ms;
};

// Pan goes 20 positions in a second, tilt 16.
// clang-format off
static const move_row ten_moves[] = {
    { 50, 50, { .operation = 1 },                      45,  50,  250  },
    { 50, 50, { .operation = 2 },                      55,  50,  250  },
    { 50, 50, { .operation = 3 },                      50,  55,  312  },
    { 50, 50, { .operation = 4 },                      50,  45,  312  },
    { 0,  0,  { .operation = 5,  .text = "[50,50]" },  50,  50,  3125 },
    { 50, 50, { .operation = 7,  .degrees = 90 },      75,  50,  1250 },
    { 50, 50, { .operation = 8,  .degrees = 180 },     0,   50,  2500 },
    { 50, 50, { .operation = 10, .degrees = 45 },      50,  25,  1562 },
    { 0,  0,  { .operation = 11, .text = "[100,100]" }, 100, 100, 6250 },
    { 50, 50, { .operation = 12, .text = "[-20,12]" }, 30,  62,  1000 },
};
// clang-format on

TEST(head, ends_ten_moves_in_time_and_where_it_should)
{
    for (const move_row &row : ten_moves) {
        head_state head = head_in(row.from_h, row.from_v);
        constexpr int64_t start_ms = 7000;
        ASSERT_TRUE(move_at(head, start_ms, row.request)) << row.request.operation;
        int64_t rest_ms = start_ms;
        while (head_moves(head, rest_ms * ms) && rest_ms < start_ms + 20'000)
            rest_ms++;
        const int64_t took_ms = rest_ms - start_ms;
        EXPECT_LE(std::abs(took_ms - row.takes_ms) * 100, row.takes_ms) << row.request.operation;
        EXPECT_EQ(text_at(head, rest_ms), head_text({ row.to_h, row.to_v })) << row.request.operation;
        EXPECT_EQ(text_at(head, rest_ms + 60'000), head_text({ row.to_h, row.to_v })) << "and stays there";
    }
}

TEST(head, rests_in_the_centre_at_first)
{
    const head_state head;
    EXPECT_EQ(text_at(head, 0), "[50,50]");
    EXPECT_FALSE(head_moves(head, 0));
    EXPECT_EQ(head_news_due_ns(head), INT64_MAX);
}

TEST(head, is_on_its_way_in_between)
{
    head_state head;
    ASSERT_TRUE(move_at(head, 1000, go_to("[100,10]")));
    EXPECT_EQ(text_at(head, 1000), "[50,50]");
    EXPECT_EQ(text_at(head, 1049), "[50,50]");
    EXPECT_EQ(text_at(head, 1050), "[51,50]");
    EXPECT_EQ(text_at(head, 2000), "[70,34]");
    EXPECT_EQ(text_at(head, 3499), "[99,11]");
    EXPECT_EQ(text_at(head, 3500), "[100,10]");
}

TEST(head, knows_where_it_will_rest_as_soon_as_it_sets_out)
{
    head_state head;
    move_at(head, 0, { .operation = 1 });
    EXPECT_EQ(head_text(head_target(head)), "[45,50]");
    EXPECT_EQ(text_at(head, 0), "[50,50]");
}

TEST(end_of_travel, lets_a_step_that_has_a_little_room_use_it)
{
    head_state head = head_in(3, 50);
    EXPECT_TRUE(move_at(head, 0, { .operation = 1 }));
    EXPECT_EQ(text_at(head, 1000), "[0,50]");
}

TEST(end_of_travel, refuses_a_step_that_has_none)
{
    const int corners[][3] = { { 1, 0, 50 }, { 2, 100, 50 }, { 3, 50, 100 }, { 4, 50, 0 } };
    for (const auto &[operation, h, v] : corners) {
        head_state head = head_in(h, v);
        EXPECT_FALSE(move_at(head, 0, { .operation = operation }));
        EXPECT_EQ(text_at(head, 1000), head_text({ h, v }));
        EXPECT_EQ(head_news_due_ns(head), INT64_MAX) << "nothing is told";
    }
}

TEST(end_of_travel, refuses_a_turn_and_a_slide_that_have_no_room_at_all)
{
    head_state head = head_in(100, 0);
    EXPECT_FALSE(move_at(head, 0, { .operation = 7, .degrees = 30 }));
    EXPECT_FALSE(move_at(head, 0, { .operation = 10, .degrees = 30 }));
    EXPECT_FALSE(move_at(head, 0, { .operation = 12, .text = "[5,-5]" }));
    EXPECT_TRUE(move_at(head, 0, { .operation = 12, .text = "[5,5]" })) << "one axis has room";
    EXPECT_EQ(text_at(head, 1000), "[100,5]");
}

TEST(end_of_travel, is_where_a_place_beyond_it_lies)
{
    head_state head;
    EXPECT_TRUE(move_at(head, 0, go_to("[-5,99999999999999999999]")));
    EXPECT_EQ(text_at(head, 60'000), "[0,100]");
    EXPECT_TRUE(move_at(head, 60'000, { .operation = 7, .degrees = 2'000'000'000 }));
    EXPECT_EQ(text_at(head, 120'000), "[100,100]");
    EXPECT_TRUE(move_at(head, 120'000, { .operation = 12, .text = "[-2000000000,0]" }));
    EXPECT_EQ(text_at(head, 180'000), "[0,100]");
}

TEST(a_busy_head, refuses_a_step_and_a_turn_of_the_axis_that_moves)
{
    for (int operation : { 1, 2, 7, 8 }) {
        head_state head;
        move_at(head, 0, { .operation = 2 });
        EXPECT_FALSE(move_at(head, 249, { .operation = operation, .degrees = 36 })) << operation;
        EXPECT_TRUE(move_at(head, 250, { .operation = operation, .degrees = 36 })) << operation;
    }
}

TEST(a_busy_head, takes_a_step_and_a_turn_of_the_other_axis)
{
    for (int operation : { 3, 4, 9, 10 }) {
        head_state head;
        move_at(head, 0, { .operation = 7, .degrees = 90 });
        EXPECT_TRUE(move_at(head, 1, { .operation = operation, .degrees = 36 })) << operation;
    }
}

TEST(a_busy_head, refuses_a_reset_and_a_slide)
{
    head_state head;
    move_at(head, 0, { .operation = 3 });
    EXPECT_FALSE(move_at(head, 100, { .operation = 5, .text = "[50,50]" }));
    EXPECT_FALSE(move_at(head, 100, { .operation = 12, .text = "[5,0]" }));
    EXPECT_EQ(text_at(head, 1000), "[50,55]") << "the step was carried out";
}

TEST(a_busy_head, can_be_sent_elsewhere_from_where_it_is)
{
    head_state head;
    move_at(head, 0, go_to("[100,50]"));
    EXPECT_TRUE(move_at(head, 500, go_to("[50,50]")));
    EXPECT_EQ(text_at(head, 500), "[60,50]");
    EXPECT_EQ(text_at(head, 750), "[55,50]");
    EXPECT_FALSE(head_moves(head, 1000 * ms));
    EXPECT_EQ(text_at(head, 1000), "[50,50]");
}

TEST(a_busy_head, can_be_halted)
{
    head_state head;
    move_at(head, 0, go_to("[100,0]"));
    EXPECT_TRUE(move_at(head, 500, { .operation = 6 }));
    EXPECT_FALSE(head_moves(head, 500 * ms));
    EXPECT_EQ(text_at(head, 60'000), "[60,42]");
}

TEST(a_place, is_read_with_blanks_and_without_an_end)
{
    for (int operation : { 5, 11 }) {
        head_state head;
        EXPECT_TRUE(move_at(head, 0, { .operation = operation, .text = "[ 30, 60" }));
        EXPECT_EQ(text_at(head, 60'000), "[30,60]");
    }
}

TEST(a_place, that_is_none_is_refused)
{
    for (const char *text : { "", "30,60", "[", "[30", "[30,", "[30;60]", "[a,b]" }) {
        for (int operation : { 5, 11, 12 }) {
            head_state head;
            EXPECT_FALSE(move_at(head, 0, { .operation = operation, .text = text })) << text;
            EXPECT_EQ(text_at(head, 60'000), "[50,50]") << text;
        }
    }
}

TEST(a_turn, goes_by_degrees_of_the_whole_travel)
{
    const char *expected[] = { "[60,50]", "[40,50]", "[50,70]", "[50,30]" };
    for (int operation = 7; operation <= 10; operation++) {
        head_state head;
        EXPECT_TRUE(move_at(head, 0, { .operation = operation, .degrees = 36 }));
        EXPECT_EQ(text_at(head, 60'000), expected[operation - 7]);
    }
}

TEST(a_turn, moves_at_least_a_little)
{
    head_state head;
    EXPECT_TRUE(move_at(head, 0, { .operation = 7, .degrees = 1 }));
    EXPECT_EQ(text_at(head, 60'000), "[51,50]");
}

TEST(a_turn, by_no_degrees_or_the_wrong_way_round_is_refused)
{
    head_state head;
    EXPECT_FALSE(move_at(head, 0, { .operation = 7, .degrees = 0 }));
    EXPECT_FALSE(move_at(head, 0, { .operation = 7, .degrees = -30 }));
    EXPECT_EQ(text_at(head, 60'000), "[50,50]");
}

TEST(an_operation, that_there_is_not_is_refused)
{
    head_state head;
    for (int operation : { -1, 0, 13 })
        EXPECT_FALSE(move_at(head, 0, { .operation = operation, .text = "[1,1]", .degrees = 1 }));
    EXPECT_EQ(text_at(head, 60'000), "[50,50]");
}

TEST(news, tells_of_the_way_every_200_ms_and_of_the_rest_once)
{
    head_state head;
    move_at(head, 1000, { .operation = 12, .text = "[10,10]" });
    const told expected = { { 1200, "moves [54,53]" },
                            { 1400, "moves [58,56]" },
                            { 1600, "moves [60,59]" },
                            { 1625, "rests [60,60]" } };
    EXPECT_EQ(news_until(head, 100'000), expected);
}

TEST(news, does_not_come_before_it_is_due)
{
    head_state head;
    move_at(head, 0, { .operation = 1 });
    EXPECT_EQ(head_news_due_ns(head), 200 * ms);
    EXPECT_FALSE(head_take_news(head, 200 * ms - 1));
    EXPECT_TRUE(head_take_news(head, 200 * ms));
    EXPECT_FALSE(head_take_news(head, 250 * ms - 1));
    EXPECT_TRUE(head_take_news(head, 250 * ms)->rests);
}

TEST(news, that_is_taken_late_says_what_was_true_when_it_was_due)
{
    head_state head;
    move_at(head, 0, { .operation = 1 });
    EXPECT_EQ(head_text(head_take_news(head, 60'000 * ms)->at), "[46,50]");
    EXPECT_EQ(head_text(head_take_news(head, 60'000 * ms)->at), "[45,50]");
    EXPECT_FALSE(head_take_news(head, 60'000 * ms));
}

TEST(news, of_a_place_where_the_head_is_already_comes_at_once)
{
    head_state head;
    EXPECT_TRUE(move_at(head, 1000, { .operation = 5, .text = "[50,50]" }));
    EXPECT_EQ(news_until(head, 1000), (told{ { 1000, "rests [50,50]" } }));
}

TEST(news, of_a_halt_comes_at_once)
{
    head_state head;
    EXPECT_TRUE(move_at(head, 1000, { .operation = 6 }));
    EXPECT_EQ(news_until(head, 1000), (told{ { 1000, "rests [50,50]" } }));
}

TEST(news, of_a_turn_is_for_the_journal_alone)
{
    head_state head;
    move_at(head, 0, { .operation = 8, .degrees = 180 });
    EXPECT_EQ(news_until(head, 60'000), (told{ { 2500, "untold rests [0,50]" } }));
}

TEST(news, of_a_turn_that_the_app_sends_elsewhere_is_told)
{
    head_state head;
    move_at(head, 0, { .operation = 7, .degrees = 180 });
    move_at(head, 1000, go_to("[71,50]"));
    EXPECT_EQ(news_until(head, 60'000), (told{ { 1050, "rests [71,50]" } }));
}

TEST(news, of_a_head_that_is_sent_elsewhere_again_and_again_still_comes)
{
    head_state head;
    told lines;
    for (int64_t now_ms = 0; now_ms <= 450; now_ms += 150) {
        for (const told_line &line : news_until(head, now_ms))
            lines.push_back(line);
        move_at(head, now_ms, go_to("[100,50]"));
    }
    EXPECT_EQ(lines, (told{ { 200, "moves [54,50]" }, { 400, "moves [58,50]" } }));
}

TEST(news, of_a_step_during_a_turn_comes_when_both_have_come_to_rest)
{
    head_state head;
    move_at(head, 0, { .operation = 7, .degrees = 36 });
    move_at(head, 100, { .operation = 3 });
    const told expected = { { 300, "moves [56,53]" }, { 500, "rests [60,55]" } };
    EXPECT_EQ(news_until(head, 60'000), expected);
    move_at(head, 1000, { .operation = 7, .degrees = 36 });
    EXPECT_EQ(news_until(head, 60'000), (told{ { 1500, "untold rests [70,55]" } })) << "and the next is not";
}

TEST(a_head_without_power, halts_and_nobody_is_told)
{
    head_state head;
    move_at(head, 0, go_to("[100,50]"));
    head_power_off(head, 500 * ms);
    EXPECT_EQ(text_at(head, 60'000), "[60,50]");
    EXPECT_EQ(head_news_due_ns(head), INT64_MAX);
}
