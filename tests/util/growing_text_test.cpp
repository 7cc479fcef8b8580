// SPDX-License-Identifier: MIT
// A text without a bound.
#include "util/growing_text.h"

#include "fakes/memory.h"

#include <gtest/gtest.h>

#include <string>

TEST(growing_text, begins_without_memory)
{
    growing_text text;
    EXPECT_EQ(text.text, nullptr);
    EXPECT_EQ(text.length, 0U);
}

TEST(growing_text, is_what_was_added_and_printed_in_order)
{
    growing_text text;
    EXPECT_TRUE(growing_text_add(text, "a"));
    EXPECT_TRUE(growing_text_print(text, "%s=%d", "b", 12));
    EXPECT_TRUE(growing_text_add(text, ""));
    EXPECT_TRUE(growing_text_add(text, ";"));
    EXPECT_STREQ(text.text.get(), "ab=12;");
    EXPECT_EQ(text.length, 6U);
}

TEST(growing_text, is_ended_after_an_empty_piece)
{
    growing_text text;
    EXPECT_TRUE(growing_text_add(text, ""));
    EXPECT_STREQ(text.text.get(), "");
}

TEST(growing_text, grows_with_pieces_of_every_size)
{
    growing_text text;
    std::string expected;
    for (size_t size : { 1U, 1999U, 1U, 1U, 3998U, 70000U, 5U }) {
        std::string piece(size, static_cast<char>('a' + size % 26));
        expected += piece + piece;
        EXPECT_TRUE(growing_text_add(text, piece.c_str()));
        EXPECT_TRUE(growing_text_print(text, "%s", piece.c_str()));
        EXPECT_EQ(text.text.get(), expected);
        EXPECT_EQ(text.length, expected.size());
    }
}

TEST(growing_text, is_as_it_was_when_memory_runs_out)
{
    growing_text text;
    allocation_fails(1);
    EXPECT_FALSE(growing_text_add(text, "lost"));
    EXPECT_EQ(text.text, nullptr);

    EXPECT_TRUE(growing_text_add(text, "kept"));
    const std::string long_piece(5000, 'x');
    allocation_fails(1);
    EXPECT_FALSE(growing_text_add(text, long_piece.c_str()));
    allocation_fails(1);
    EXPECT_FALSE(growing_text_print(text, "%s", long_piece.c_str()));
    EXPECT_STREQ(text.text.get(), "kept");
    EXPECT_EQ(text.length, 4U);

    EXPECT_TRUE(growing_text_add(text, long_piece.c_str()));
    EXPECT_EQ(text.text.get(), "kept" + long_piece);
}
