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

TEST(leds, are_dark_and_free_after_a_reboot_while_the_head_stays)
{
    body_state body;
    body_led(body, steady(0, 2));
    body_motor(body, { .operation = 11, .text = "[10,20]" });
    body_power_on(body);
    EXPECT_EQ(body.leds[0].mode, led_mode::off);
    EXPECT_EQ(body.led_priority, 0);
    EXPECT_EQ(body_position(body), "[10,20]");
}

TEST(head, rests_in_the_centre_at_first)
{
    EXPECT_EQ(body_position({}), "[50,50]");
}

TEST(head, steps_by_5_to_each_side_and_reports)
{
    const char *expected[] = { "[45,50]", "[55,50]", "[50,55]", "[50,45]" };
    for (int operation = 1; operation <= 4; operation++) {
        body_state body;
        const motor_outcome outcome = body_motor(body, { .operation = operation });
        EXPECT_EQ(outcome.result, 0);
        EXPECT_TRUE(outcome.reports);
        EXPECT_TRUE(outcome.position);
        EXPECT_EQ(body_position(body), expected[operation - 1]);
    }
}

TEST(head, does_not_step_beyond_the_end_of_travel)
{
    body_state body;
    body.h = 3;
    EXPECT_EQ(body_motor(body, { .operation = 1 }).result, 0) << "there is a little room";
    EXPECT_EQ(body.h, 0);

    const motor_outcome outcome = body_motor(body, { .operation = 1 });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_FALSE(outcome.reports);
    EXPECT_TRUE(outcome.position) << "the caller learns where it stands";
    EXPECT_EQ(body.h, 0);
}

TEST(head, goes_to_a_position)
{
    for (int operation : { 5, 11, 12 }) {
        body_state body;
        const motor_outcome outcome = body_motor(body, { .operation = operation, .text = "[30,60]" });
        EXPECT_EQ(outcome.result, 0);
        EXPECT_TRUE(outcome.reports);
        EXPECT_FALSE(outcome.position);
        EXPECT_EQ(body_position(body), "[30,60]");
    }
}

TEST(head, reads_positions_with_blanks_and_without_an_end)
{
    body_state body;
    EXPECT_EQ(body_motor(body, { .operation = 11, .text = "[ 30, 60" }).result, 0);
    EXPECT_EQ(body_position(body), "[30,60]");
}

TEST(head, stays_within_its_travel)
{
    body_state body;
    EXPECT_EQ(body_motor(body, { .operation = 11, .text = "[-5,99999999999999999999]" }).result, 0);
    EXPECT_EQ(body_position(body), "[0,100]");
}

TEST(head, refuses_a_text_that_is_no_position)
{
    for (const char *text : { "", "30,60", "[", "[30", "[30,", "[30;60]", "[a,b]" }) {
        body_state body;
        const motor_outcome outcome = body_motor(body, { .operation = 11, .text = text });
        EXPECT_EQ(outcome.result, -1) << text;
        EXPECT_FALSE(outcome.reports) << text;
        EXPECT_EQ(body_position(body), "[50,50]") << text;
    }
}

TEST(head, reports_where_it_stands_when_it_is_stopped)
{
    body_state body;
    const motor_outcome outcome = body_motor(body, { .operation = 6 });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(outcome.reports);
    EXPECT_EQ(body_position(body), "[50,50]");
}

TEST(head, turns_by_degrees_without_a_report)
{
    const char *expected[] = { "[60,50]", "[40,50]", "[50,70]", "[50,30]" };
    for (int operation = 7; operation <= 10; operation++) {
        body_state body;
        const motor_outcome outcome = body_motor(body, { .operation = operation, .degrees = 36 });
        EXPECT_EQ(outcome.result, 0);
        EXPECT_FALSE(outcome.reports);
        EXPECT_EQ(body_position(body), expected[operation - 7]);
    }
}

TEST(head, turns_at_least_a_little_and_never_beyond_its_travel)
{
    body_state body;
    EXPECT_EQ(body_motor(body, { .operation = 7, .degrees = 1 }).result, 0);
    EXPECT_EQ(body.h, 51);
    EXPECT_EQ(body_motor(body, { .operation = 7, .degrees = 2'000'000'000 }).result, 0);
    EXPECT_EQ(body.h, 100);
    EXPECT_EQ(body_motor(body, { .operation = 7, .degrees = 1 }).result, -1);
}

TEST(head, refuses_degrees_that_are_not_above_0)
{
    body_state body;
    EXPECT_EQ(body_motor(body, { .operation = 7, .degrees = 0 }).result, -1);
    EXPECT_EQ(body_motor(body, { .operation = 7, .degrees = -30 }).result, -1);
    EXPECT_EQ(body_position(body), "[50,50]");
}

TEST(head, refuses_an_operation_that_there_is_not)
{
    body_state body;
    for (int operation : { -1, 0, 13 })
        EXPECT_EQ(body_motor(body, { .operation = operation, .text = "[1,1]", .degrees = 1 }).result, -1);
    EXPECT_EQ(body_position(body), "[50,50]");
}
