// SPDX-License-Identifier: MIT
// The table of feature modules as it ships: one slot, and nothing in it.
#include "modules/module.h"

#include <gtest/gtest.h>

#include <iterator>

TEST(module_table_as_shipped, has_one_slot_and_none_in_use)
{
    EXPECT_EQ(std::size(module_table), 1U);
    EXPECT_EQ(module_count, 0);
}

TEST(module_table_as_shipped, does_not_hold_the_region_lock)
{
    EXPECT_EQ(module_table[0].name, nullptr);
    EXPECT_EQ(module_table[0].methods, nullptr);
    EXPECT_EQ(module_table[0].selvar_callback, nullptr);
    EXPECT_EQ(module_table[0].init, nullptr);
    EXPECT_EQ(module_table[0].exit, nullptr);
}
