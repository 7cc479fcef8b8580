// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libkivo_util.h"

#include <algorithm>
#include <climits>
#include <fstream>
#include <set>
#include <thread>

// What draw gives in a process of its own with that seed; NULL: none is set.
static std::vector<int> draws(const char *seed, size_t count, int (*draw)(void))
{
    const std::string file = desk_path("draws");
    EXPECT_EQ(desk_in_process([&] {
                  if (seed != nullptr)
                      setenv("CAMERA_SEED", seed, 1);
                  std::ofstream numbers(file);
                  for (size_t i = 0; i < count; i++)
                      numbers << draw() << '\n';
              }),
              0);
    std::vector<int> values;
    std::ifstream numbers(file);
    for (int value = 0; numbers >> value;)
        values.push_back(value);
    EXPECT_EQ(values.size(), count);
    return values;
}

static int roll(void)
{
    return rand_range(1, 6);
}

static int any_number(void)
{
    return rand_range(INT_MIN, INT_MAX);
}

STORY(random, a_range_holds_both_its_ends_and_nothing_beyond)
{
    const std::vector<int> rolls = draws("1", 1000, roll);
    EXPECT_EQ(std::set<int>(rolls.begin(), rolls.end()), (std::set{ 1, 2, 3, 4, 5, 6 }));
}

STORY(random, every_number_of_a_range_is_as_likely_as_the_others)
{
    const std::vector<int> rolls = draws("1", 60000, roll);
    for (int side = 1; side <= 6; side++)
        EXPECT_NEAR(static_cast<double>(std::count(rolls.begin(), rolls.end(), side)), 10000, 400) << side;
}

STORY(random, the_widest_range_is_used_from_end_to_end)
{
    const std::vector<int> numbers = draws("1", 1000, any_number);
    const auto [low, high] = std::minmax_element(numbers.begin(), numbers.end());
    EXPECT_LT(*low, INT_MIN / 100 * 98);
    EXPECT_GT(*high, INT_MAX / 100 * 98);
}

STORY(random, a_range_of_one_number_gives_that_number)
{
    EXPECT_EQ(rand_range(5, 5), 5);
    EXPECT_EQ(rand_range(INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(rand_range(INT_MAX, INT_MAX), INT_MAX);
}

STORY(random, an_empty_range_gives_its_low_end)
{
    EXPECT_EQ(rand_range(3, 2), 3);
}

STORY(random, request_ids_are_above_0_and_fresh)
{
    const std::vector<int> ids = draws("1", 200'000, generate_random_id);
    EXPECT_GT(*std::min_element(ids.begin(), ids.end()), 0);
    EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), ids.size());
}

STORY(random, request_ids_do_not_go_up_one_by_one)
{
    const std::vector<int> ids = draws("1", 1000, generate_random_id);
    EXPECT_FALSE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_NE(ids, draws("2", 1000, generate_random_id));
    EXPECT_EQ(ids, draws("1", 1000, generate_random_id));
}

STORY(random, the_same_seed_brings_the_same_numbers)
{
    EXPECT_EQ(draws("a seed", 100, any_number), draws("a seed", 100, any_number));
    EXPECT_NE(draws("a seed", 100, any_number), draws("another", 100, any_number));
    EXPECT_NE(draws("1", 100, any_number), draws("2", 100, any_number));
}

STORY(random, without_a_seed_every_process_has_its_own_numbers)
{
    EXPECT_NE(draws(nullptr, 100, any_number), draws(nullptr, 100, any_number));
    EXPECT_NE(draws("", 100, any_number), draws("", 100, any_number));
}

// What so many threads draw, in order of size.
static std::vector<int> threads_draw(size_t threads, size_t share, int (*draw)(void))
{
    std::vector<std::vector<int>> shares(threads);
    std::vector<std::thread> drawers;
    setenv("CAMERA_SEED", "1", 1);
    drawers.reserve(threads);
    for (std::vector<int> &numbers : shares)
        drawers.emplace_back([&numbers, share, draw] {
            for (size_t i = 0; i < share; i++)
                numbers.push_back(draw());
        });
    std::vector<int> together;
    for (size_t i = 0; i < threads; i++) {
        drawers[i].join();
        together.insert(together.end(), shares[i].begin(), shares[i].end());
    }
    std::sort(together.begin(), together.end());
    return together;
}

STORY(random, threads_share_one_sequence_of_which_nothing_is_lost_or_given_twice)
{
    std::vector<int> alone = draws("1", 2000, any_number);
    std::sort(alone.begin(), alone.end());
    EXPECT_EQ(threads_draw(4, 500, any_number), alone);
}

STORY(random, request_ids_of_several_threads_are_fresh_too)
{
    const std::vector<int> ids = threads_draw(4, 50'000, generate_random_id);
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}
