// SPDX-License-Identifier: MIT
// What the device kit reports: the reset key, the head at rest, the head on its way.
#include "core/events.h"

#include "fakes/daemon_desk.h"

#include <thread>

struct events : store_open_desk {
    events()
    {
        motor_seq = 0;
        platform.monotonic_s = 4321;
        platform.realtime_ms = 1700000000123;
    }

    static void happens(int event, std::string text)
    {
        device_event_callback(event, text.data());
    }

    static void key(int state)
    {
        device_event_callback(1, &state);
    }

    static void stops(const std::string &text)
    {
        happens(2, text);
    }

    static void moves(const std::string &text)
    {
        happens(3, text);
    }
};

static const std::string time_published = mem_set_number("time_motor", 1700000000123);

// On the thread that is inside the store library at that moment.
TEST_F(events, that_come_inside_a_response_of_the_store_are_handled_there)
{
    store.on_response = [] { stops("[12,34]"); };
    EXPECT_EQ(selvar_nvram_response(), 0);
    EXPECT_TRUE(in_order({ "libselvar_xhandle_response()", nvram_set("motor", "[12,34]"), time_published }));
}

TEST_F(events, a_pressed_key_is_stamped_and_the_log_saved)
{
    key(1);
    script_has_ended();
    EXPECT_EQ(kit.key_press_time, 4321U);
    EXPECT_EQ(executed(), texts{ "exec(/mnt/data/bin/log2tf.sh, null)" });
    EXPECT_TRUE(in_order(
        { "info: event callback key: 1\n", "debug: key press!\n", "info: Run: /mnt/data/bin/log2tf.sh\n" }));
}

TEST_F(events, a_released_key_clears_the_stamp)
{
    kit.key_press_time = 4320;
    key(0);
    EXPECT_EQ(kit.key_press_time, 0U);
    EXPECT_EQ(executed(), texts{});
    EXPECT_EQ(story(), (texts{ "info: event callback key: 0\n", "debug: key release!\n" }));
}

TEST_F(events, a_key_pressed_and_released_saves_the_log_once)
{
    key(1);
    key(0);
    script_has_ended();
    EXPECT_EQ(kit.key_press_time, 0U);
    EXPECT_EQ(executed().size(), 1U);
}

TEST_F(events, any_other_key_state_does_nothing)
{
    kit.key_press_time = 4320;
    key(2);
    key(-1);
    EXPECT_EQ(kit.key_press_time, 4320U);
    EXPECT_EQ(executed(), texts{});
    EXPECT_EQ(story(), (texts{ "info: event callback key: 2\n", "info: event callback key: -1\n" }));
}

TEST_F(events, a_head_at_rest_is_kept_synced_and_published)
{
    av_index = 3;
    stops("[10,20]");
    EXPECT_EQ(motor_position_h, 10);
    EXPECT_EQ(motor_position_v, 20);
    EXPECT_EQ(motor_time, 1700000000123);
    EXPECT_EQ(story(), (texts{ "debug: event callback motor stop: [10,20]\n", nvram_set("motor", "[10,20]"),
                               nvram_sync, mem_set("motor_position", "[3,0,10,20,1]"), time_published }));
}

TEST_F(events, stream_0_is_a_stream)
{
    av_index = 0;
    stops("[10,20]");
    EXPECT_TRUE(called(mem_set("motor_position", "[0,0,10,20,1]")));
}

TEST_F(events, a_head_at_rest_without_a_stream_is_not_published)
{
    stops("[10,20]");
    EXPECT_EQ(calls(), (texts{ nvram_set("motor", "[10,20]"), nvram_sync, time_published }));
    EXPECT_TRUE(logged("warning: av index (-1) illegal\n"));
}

TEST_F(events, the_stop_text_is_stored_as_it_came)
{
    stops("  [1,2] trailing");
    EXPECT_TRUE(called(nvram_set("motor", "  [1,2] trailing")));
}

TEST_F(events, a_stop_text_is_stored_with_its_first_127_characters)
{
    const std::string text = "[10,20]" + std::string(200, 'x');
    stops(text);
    EXPECT_TRUE(logged("debug: event callback motor stop: " + text + "\n"));
    EXPECT_EQ(calls(), (texts{ nvram_set("motor", text.substr(0, 127)), nvram_sync, time_published }));
    EXPECT_EQ(motor_position_v, 20);
}

TEST_F(events, a_stop_text_that_does_not_parse_keeps_the_position_and_is_still_published)
{
    av_index = 1;
    motor_position_h = 7;
    motor_position_v = 8;
    stops("nowhere");
    EXPECT_EQ(motor_position_h, 7);
    EXPECT_EQ(motor_position_v, 8);
    EXPECT_EQ(calls(), (texts{ nvram_set("motor", "nowhere"), nvram_sync,
                               mem_set("motor_position", "[1,0,7,8,1]"), time_published }));
}

TEST_F(events, a_stop_text_that_is_cut_keeps_what_was_not_read)
{
    motor_position_h = 7;
    motor_position_v = 8;
    stops("[9,");
    EXPECT_EQ(motor_position_h, 9);
    EXPECT_EQ(motor_position_v, 8);
}

TEST_F(events, a_moving_head_is_published_with_its_state_and_not_saved)
{
    av_index = 3;
    moves("[2,10,20]");
    EXPECT_EQ(motor_position_h, 10);
    EXPECT_EQ(motor_position_v, 20);
    EXPECT_EQ(motor_time, 1700000000123);
    EXPECT_EQ(story(), (texts{ "debug: event callback motor update: [2,10,20]\n",
                               mem_set("motor_position", "[3,2,10,20,1]"), time_published }));
}

TEST_F(events, a_moving_head_without_a_stream_is_not_published)
{
    moves("[2,10,20]");
    EXPECT_EQ(calls(), texts{ time_published });
    EXPECT_TRUE(log_mentions(": av index (-1) illegal\n"));
}

TEST_F(events, an_update_that_does_not_parse_has_state_0_and_the_old_position)
{
    av_index = 1;
    motor_position_h = 7;
    motor_position_v = 8;
    moves("");
    EXPECT_EQ(calls(), (texts{ mem_set("motor_position", "[1,0,7,8,1]"), time_published }));
}

struct cut_update {
    const char *text;
    int h;
    const char *published;
};

struct update_that_is_cut : events, testing::WithParamInterface<cut_update> {};

TEST_P(update_that_is_cut, takes_what_was_read_and_keeps_the_rest)
{
    av_index = 1;
    motor_position_h = 7;
    motor_position_v = 8;
    moves(GetParam().text);
    EXPECT_EQ(motor_position_h, GetParam().h);
    EXPECT_EQ(motor_position_v, 8);
    EXPECT_EQ(calls(), (texts{ mem_set("motor_position", GetParam().published), time_published }));
}

INSTANTIATE_TEST_SUITE_P(texts, update_that_is_cut,
                         testing::Values(cut_update{ "[2,10", 10, "[1,2,10,8,1]" },
                                         cut_update{ "[2,10,x", 10, "[1,2,10,8,1]" },
                                         cut_update{ "[2", 7, "[1,2,7,8,1]" }));

TEST_F(events, an_unknown_event_is_logged_and_counted)
{
    happens(4, "[1,2]");
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": device event callback unknown event:4!\n"));
    EXPECT_EQ(motor_seq, 1);
    EXPECT_EQ(motor_time, 0);
}

struct event_without_parameter : events, testing::WithParamInterface<int> {};

TEST_P(event_without_parameter, is_logged_and_counted)
{
    device_event_callback(GetParam(), nullptr);
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": device event callback param is null!\n"));
    EXPECT_EQ(motor_seq, 1);
}

INSTANTIATE_TEST_SUITE_P(codes, event_without_parameter, testing::Values(1, 2, 3, 4));

TEST_F(events, the_first_call_carries_1_the_ninety_ninth_99_and_the_hundredth_0)
{
    av_index = 0;
    stops("[5,6]");
    EXPECT_TRUE(called(mem_set("motor_position", "[0,0,5,6,1]")));
    for (int call = 2; call <= 98; call++)
        device_event_callback(4, nullptr);
    record_clear();
    for (int call = 99; call <= 101; call++)
        stops("[5,6]");
    EXPECT_TRUE(
        in_order({ mem_set("motor_position", "[0,0,5,6,99]"), mem_set("motor_position", "[0,0,5,6,0]"),
                   mem_set("motor_position", "[0,0,5,6,1]") }));
}

TEST_F(events, a_position_is_published_while_the_store_is_down_without_harm)
{
    selvar_nvram_exit();
    av_index = 0;
    stops("[5,6]");
    EXPECT_EQ(motor_position_h, 5);
    EXPECT_EQ(motor_time, 1700000000123);
}

// ThreadSanitizer looks on: the main thread reads and writes the store while the kit's thread reports.
TEST_F(events, may_come_on_a_thread_of_the_device_kit)
{
    av_index = 0;
    std::thread kits_own([] {
        for (int i = 0; i < 200; i++)
            moves("[1,30,40]");
    });
    for (int i = 0; i < 200; i++) {
        selvar_mem_set_string("dev_status", "normal", 0);
        EXPECT_LE(shared(motor_position_h).load(), 50);
        shared(motor_time).store(0);
    }
    kits_own.join();
    EXPECT_EQ(motor_seq, 0);
    EXPECT_EQ(calls_of("libselvar_set_value").size(), 600U);
}
