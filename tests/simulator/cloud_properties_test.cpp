// SPDX-License-Identifier: MIT
// The table of properties, and values as a person writes them.
#include "cloud/properties.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

static size_t count_of(bool (*is)(const property &))
{
    const auto table = properties_table();
    return static_cast<size_t>(std::count_if(table.begin(), table.end(), is));
}

TEST(cloud_properties, are_39_in_the_order_of_their_numbers_with_different_names)
{
    std::set<std::string> names;
    std::pair<int, int> before = { 0, 0 };
    for (const property &row : properties_table()) {
        EXPECT_LT(before, std::make_pair(row.siid, row.piid)) << row.name;
        before = { row.siid, row.piid };
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_TRUE(row.place != nullptr || row.key != nullptr) << row.name;
        EXPECT_EQ(row.space == nullptr, row.key == nullptr) << row.name;
    }
    EXPECT_EQ(names.size(), 39U);
}

TEST(cloud_properties, can_be_set_or_watched_or_read_but_not_all)
{
    EXPECT_EQ(count_of([](const property &row) { return row.settable; }), 28U);
    EXPECT_EQ(count_of([](const property &row) { return row.settable && row.watched != property_watch::no; }),
              17U);
    EXPECT_EQ(count_of([](const property &row) { return row.pulled; }), 6U);
    EXPECT_EQ(count_of([](const property &row) { return !row.readable; }), 3U);
}

static std::string resolved(const std::string &text)
{
    property_number number = {};
    const property *row = nullptr;
    std::string reason;
    if (!properties_resolve(text, number, row, reason))
        return reason;
    return property_number_text(number) + (row == nullptr ? "" : std::string(" ") + row->name);
}

TEST(cloud_properties, are_found_by_number_and_by_name)
{
    EXPECT_EQ(resolved("2.1"), "2.1 power");
    EXPECT_EQ(resolved("night_mode"), "2.3 night_mode");
    EXPECT_EQ(resolved("13.1"), "13.1");
}

TEST(cloud_properties, that_are_mistyped_are_told_with_the_nearest)
{
    EXPECT_EQ(resolved("nihgt_mode"), "there is no property \"nihgt_mode\", did you mean \"night_mode\"?");
    for (const char *text : { "2", "2.", ".1", "2.1.3", "2.x", "02.1", "+2.1", " 2.1", "2.1 ", "",
                              "99999999999.1", "qqqqqqqqqqqq" })
        EXPECT_EQ(resolved(text), std::string("there is no property \"") + text +
                                      "\"; ./camera prop list shows their names and numbers");
}

TEST(cloud_properties, live_in_the_store_or_elsewhere)
{
    EXPECT_EQ(property_lives(*properties_find({ 2, 8 })), "mem track_switch");
    EXPECT_EQ(property_lives(*properties_find({ 1, 4 })), "/etc/os-release");
    EXPECT_EQ(property_lives(*properties_find({ 4, 2 })), "/mnt/sdcard");
}

// What the text is as a value of the property, or what is said about it.
static std::string value_of(property_number number, const std::string &text)
{
    std::string reason;
    const json_ptr value = property_value_of(*properties_find(number), text, reason);
    return value ? json_text(value.get()) : reason;
}

TEST(cloud_properties, take_values_of_their_types)
{
    EXPECT_EQ(value_of({ 2, 1 }, "true"), "true");
    EXPECT_EQ(value_of({ 2, 1 }, "on"), "true");
    EXPECT_EQ(value_of({ 2, 1 }, "false"), "false");
    EXPECT_EQ(value_of({ 2, 1 }, "off"), "false");
    EXPECT_EQ(value_of({ 2, 2 }, "180"), "180");
    EXPECT_EQ(value_of({ 10, 6 }, "-2147483648"), "-2147483648");
    EXPECT_EQ(value_of({ 10, 1 }, "180"), "\"180\"");
    EXPECT_EQ(value_of({ 10, 1 }, R"(the "blue" \ door)"), R"("the \"blue\" \\ door")");
    EXPECT_EQ(value_of({ 10, 1 }, ""), "\"\"");
}

TEST(cloud_properties, take_no_others)
{
    for (const char *text : { "1", "yes", "ON", "" })
        EXPECT_EQ(value_of({ 2, 1 }, text),
                  std::string("power is true or false (on or off), not \"") + text + "\"");
    for (const char *text : { "", "x", "1x", " 1", "+1", "1.5", "2147483648", "-", "99999999999999999999" })
        EXPECT_EQ(value_of({ 2, 2 }, text), std::string("flip is a number of 32 bits, not \"") + text + "\"");
}
