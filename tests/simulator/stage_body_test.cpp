// SPDX-License-Identifier: MIT
#include "stage/body.h"

#include <gtest/gtest.h>

static led_request steady(int index, int priority)
{
    return { .index = index, .brightness = 50, .mode = 0, .on_ms = 0, .off_ms = 0, .priority = priority };
}

TEST(leds, are_dark_at_first_and_take_any_priority)
{
    body_state body;
    EXPECT_EQ(body.leds[0].mode, led_mode::off);
    EXPECT_EQ(body.leds[1].mode, led_mode::off);
    EXPECT_EQ(body_led(body, steady(0, 0)), led_outcome::applied);
}

TEST(leds, show_what_was_asked_for)
{
    body_state body;
    const led_request blink = {
        .index = 1, .brightness = 70, .mode = 2, .on_ms = 100, .off_ms = 200, .priority = 1
    };
    ASSERT_EQ(body_led(body, blink), led_outcome::applied);

    EXPECT_EQ(body.leds[1].brightness, 70);
    EXPECT_EQ(body.leds[1].mode, led_mode::blink);
    EXPECT_EQ(body.leds[1].on_ms, 100);
    EXPECT_EQ(body.leds[1].off_ms, 200);
    EXPECT_EQ(body.leds[1].priority, 1);
    EXPECT_EQ(body.leds[0].mode, led_mode::off) << "the other one is left alone";
}

TEST(leds, ignore_a_request_below_the_priority_in_force)
{
    body_state body;
    body_led(body, steady(0, 2));
    EXPECT_EQ(body_led(body, steady(1, 1)), led_outcome::without_effect);
    EXPECT_EQ(body.leds[1].mode, led_mode::off);
    EXPECT_EQ(body.led_priority, 2);
}

TEST(leds, take_a_request_of_the_priority_in_force)
{
    body_state body;
    body_led(body, steady(0, 2));
    EXPECT_EQ(body_led(body, steady(1, 2)), led_outcome::applied);
}

TEST(leds, raise_the_priority_in_force_with_a_request_above_it)
{
    body_state body;
    body_led(body, steady(0, 1));
    body_led(body, steady(0, 2));
    EXPECT_EQ(body.led_priority, 2);
}

TEST(leds, show_status_patterns_again_once_the_priority_is_set_down)
{
    body_state body;
    body_led(body, steady(0, 2));
    ASSERT_EQ(body_led(body, steady(0, 1)), led_outcome::without_effect);
    body.led_priority = 1;
    EXPECT_EQ(body_led(body, steady(0, 1)), led_outcome::applied);
}

TEST(leds, refuse_what_is_out_of_range)
{
    const led_request impossible[] = {
        { -1, 50, 0, 0, 0, 1 }, { 2, 50, 0, 0, 0, 1 },  { 0, -1, 0, 0, 0, 1 },
        { 0, 101, 0, 0, 0, 1 }, { 0, 50, -1, 0, 0, 1 }, { 0, 50, 3, 0, 0, 1 },
    };
    for (const led_request &request : impossible) {
        body_state body;
        EXPECT_EQ(body_led(body, request), led_outcome::refused);
        EXPECT_EQ(body.led_priority, 0) << "nothing has changed";
    }
}

TEST(leds, take_the_ends_of_their_ranges)
{
    body_state body;
    EXPECT_EQ(body_led(body, { .index = 0, .brightness = 0, .mode = 0 }), led_outcome::applied);
    EXPECT_EQ(body_led(body, { .index = 1, .brightness = 100, .mode = 2 }), led_outcome::applied);
}

TEST(leds, are_dark_and_free_after_a_reboot)
{
    body_state body;
    body_led(body, steady(0, 2));
    body_power_on(body, 0);
    EXPECT_EQ(body.leds[0].mode, led_mode::off);
    EXPECT_EQ(body.led_priority, 0);
}
