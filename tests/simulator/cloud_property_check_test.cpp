// SPDX-License-Identifier: MIT
// Comparing what is reported of a property with what is read: what counts as a difference, and why not.
#include "cloud/property_check.h"

#include <gtest/gtest.h>

static constexpr property_number power = { 2, 1 };
static constexpr property_number night_mode = { 2, 3 };
static constexpr property_number sd_total = { 4, 2 };
static constexpr property_number light_switch = { 7, 12 };
static constexpr property_number focus_scene = { 10, 9 };
static constexpr property_number sound_name = { 11, 1 };

// What has been seen of a property; NULL: not.
struct seen {
    const char *reported = nullptr;
    const char *read = nullptr;
    const char *stored = nullptr;
    int code = 0;
    bool watched = true;
};

static std::string verdict(property_number number, const seen &seen)
{
    property_copy copy;
    copy.was_read = true;
    copy.read.empty = seen.read == nullptr && seen.code == 0;
    copy.read.code = seen.code;
    if (seen.read != nullptr)
        copy.read.value = json_parse(seen.read);
    if (seen.reported != nullptr)
        copy.reported = json_parse(seen.reported);
    property_facts facts;
    facts.copy = &copy;
    facts.watched = seen.watched;
    if (seen.stored != nullptr)
        facts.stored = seen.stored;
    const property_finding finding = property_compare(*properties_find(number), facts);
    return property_verdict_text(finding.verdict) + (finding.reason.empty() ? "" : ": " + finding.reason);
}

TEST(cloud_property_check, alike_is_alike)
{
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .read = "0", .stored = "2" }), "same");
}

TEST(cloud_property_check, other_values_differ)
{
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .read = "2", .stored = "2" }),
              "differs: reported 0, read 2");
    EXPECT_EQ(verdict(power, { .reported = "1", .read = "true", .stored = "on" }),
              "differs: reported 1, read true");
}

TEST(cloud_property_check, a_report_that_does_not_come_is_missed)
{
    EXPECT_EQ(verdict(night_mode, { .read = "2", .stored = "0" }),
              "differs: its value was written again, and no report came");
}

TEST(cloud_property_check, nothing_is_missed_of_a_key_without_a_value)
{
    EXPECT_EQ(verdict(night_mode, { .read = "2" }), "not stored: its key has no value; a read answers 2");
}

TEST(cloud_property_check, reads_must_answer_a_value_of_the_type)
{
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .stored = "2" }), "differs: a read answers nothing");
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .stored = "2", .code = -4003 }),
              "differs: a read answers code -4003");
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .read = "true", .stored = "2" }),
              "differs: a read answers true, which is no int");
    EXPECT_EQ(verdict(light_switch, { .read = "true", .watched = false }),
              "differs: a read answers true, and it cannot be read");
}

TEST(cloud_property_check, a_property_that_was_not_read_is_told)
{
    const property_copy copy;
    property_facts facts;
    facts.copy = &copy;
    EXPECT_EQ(property_compare(*properties_find(power), facts).reason, "it was not read");
}

TEST(cloud_property_check, what_is_not_watched_is_not_reported)
{
    EXPECT_EQ(verdict(sound_name, { .read = "\" \"", .watched = false }),
              "by design: not reported: its key is not watched");
    EXPECT_EQ(verdict(sound_name, { .reported = "\"x\"", .read = "\"x\"", .stored = "x", .watched = false }),
              "differs: reported \"x\" although its key is not watched");
    EXPECT_EQ(verdict(power, { .read = "true", .stored = "on", .watched = false }),
              "by design: not reported: its key is watched on a bound camera only");
    EXPECT_EQ(verdict(focus_scene, { .watched = false }), "by design: not reported: its key is not watched");
    EXPECT_EQ(verdict(light_switch, { .code = -4003, .watched = false }).substr(0, 10), "by design:");
}

TEST(cloud_property_check, differences_by_design_are_told_with_their_reason)
{
    EXPECT_EQ(verdict(sd_total, { .reported = "1", .read = "31166976", .stored = "x" }).substr(0, 10),
              "by design:");
    EXPECT_EQ(verdict(night_mode, { .reported = "0", .read = "5", .stored = "5" }),
              "by design: a value other than 0, 1 and 2 is reported as 0 and read as its number");
    EXPECT_EQ(verdict(power, { .reported = "false", .read = "true", .stored = "ON" }).substr(0, 10),
              "by design:");
    EXPECT_EQ(verdict({ 3, 1 }, { .reported = "false", .read = "true", .stored = "ON" }).substr(0, 10),
              "by design:");
    EXPECT_EQ(verdict({ 2, 7 }, { .read = "0", .stored = "dawn" }),
              "by design: a text other than off, on and stop is not reported");
}

TEST(cloud_property_check, braces_for_an_area_that_is_not_stored_are_by_design)
{
    EXPECT_EQ(verdict({ 10, 2 }, { .read = "{}", .watched = false }).substr(0, 10), "by design:");
    EXPECT_EQ(verdict({ 10, 2 }, { .read = "{}", .stored = "[1]", .watched = false }),
              "differs: a read answers {}, which is no string");
    EXPECT_EQ(verdict({ 10, 2 }, { .code = -4003, .watched = false }), "differs: a read answers code -4003");
}

TEST(cloud_property_check, a_design_excuses_only_what_it_explains)
{
    EXPECT_EQ(verdict(power, { .reported = "false", .read = "true", .stored = "on" }),
              "differs: reported false, read true");
    EXPECT_EQ(verdict({ 2, 7 }, { .read = "1", .stored = "on" }),
              "differs: its value was written again, and no report came");
}
