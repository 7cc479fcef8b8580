// SPDX-License-Identifier: MIT
// The device kit from its start to its exit, and its LEDs.
#include "cam_warden_desk.h"

#include <libcam_warden.h>

#include <poll.h>

#include <atomic>
#include <thread>

static std::atomic<bool> callback_done;

STORY(kit_start, fails_without_stage)
{
    EXPECT_EQ(torvu_camwarden_init(kit_note_event), -1);
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    torvu_camwarden_exit();
}

STORY(kit_start, fails_when_stage_refuses_events)
{
    kit_desk desk;
    kit_desk_open(desk);
    kit_desk_refuse_events(desk);
    const size_t threads = kit_desk_threads();
    EXPECT_EQ(torvu_camwarden_init(kit_note_event), -1);
    EXPECT_EQ(kit_desk_threads(), threads);
    kit_desk_close(desk);
}

STORY(kit_start, fails_without_a_callback)
{
    kit_desk desk;
    kit_desk_open(desk);
    EXPECT_EQ(torvu_camwarden_init(nullptr), -1);
    kit_desk_close(desk);
}

STORY(kit_start, fails_while_the_kit_is_started)
{
    kit_desk desk;
    kit_start(desk);
    EXPECT_EQ(torvu_camwarden_init(kit_note_event), -1);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    EXPECT_TRUE(kit_wait_for_events(1)) << "the first start holds";
    kit_end(desk);
}

STORY(kit_start, works_again_after_an_exit)
{
    kit_desk desk;
    kit_start(desk);
    torvu_camwarden_exit();
    EXPECT_EQ(torvu_camwarden_init(kit_note_event), 0);
    EXPECT_EQ(torvu_led_setpriority(1), 0);
    kit_end(desk);
}

STORY(kit_exit, is_harmless_before_a_start_and_twice)
{
    torvu_camwarden_exit();
    kit_desk desk;
    kit_start(desk);
    torvu_camwarden_exit();
    torvu_camwarden_exit();
    kit_desk_close(desk);
}

STORY(kit_exit, ends_motor_calls_and_movement)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"running":1}})");
    ASSERT_EQ(motor_running_dectect(), 1);
    torvu_camwarden_exit();
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_EQ(motor_running_dectect(), 0);
    EXPECT_EQ(kit_desk_commands(desk).size(), 1U) << "nothing was asked any more";
    kit_desk_close(desk);
}

STORY(kit_exit, lets_no_callback_run_on)
{
    kit_desk desk;
    kit_desk_open(desk);
    static std::atomic<bool> entered;
    static std::atomic<bool> leaving;
    ASSERT_EQ(torvu_camwarden_init([](int, void *) {
                  entered = true;
                  while (!leaving)
                      std::this_thread::yield();
                  poll(nullptr, 0, 20); // longer than an exit that does not wait
                  callback_done = true;
              }),
              0);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    ASSERT_TRUE(desk_wait([] { return entered.load(); }));
    leaving = true;
    torvu_camwarden_exit();
    EXPECT_TRUE(callback_done);
    kit_desk_close(desk);
}

STORY(kit_exit, may_come_from_the_callback_and_is_then_the_last)
{
    kit_desk desk;
    kit_desk_open(desk);
    const size_t threads = kit_desk_threads();
    static std::atomic<int> calls;
    ASSERT_EQ(torvu_camwarden_init([](int, void *) {
                  calls++;
                  torvu_camwarden_exit();
              }),
              0);
    kit_desk_event(desk, "{\"event\":1,\"key\":1}\n{\"event\":1,\"key\":0}");
    EXPECT_TRUE(desk_wait([&] { return calls > 0 && kit_desk_threads() == threads; }))
        << "the thread has ended";
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(torvu_camwarden_init(kit_note_event), 0) << "and the kit can be started again";
    kit_end(desk);
}

STORY(kit, leaves_nothing_behind_after_1000_starts)
{
    kit_desk desk;
    kit_desk_open(desk);
    const size_t threads = kit_desk_threads();
    const size_t descriptors = kit_desk_descriptors();
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); i++) {
        EXPECT_EQ(torvu_camwarden_init(kit_note_event), 0) << i;
        torvu_camwarden_exit();
        EXPECT_TRUE(desk_wait([&desk] {
            const std::lock_guard<std::mutex> guard(desk.mutex);
            return desk.peers.empty();
        }));
    }
    EXPECT_EQ(kit_desk_descriptors(), descriptors);
    EXPECT_TRUE(desk_wait([threads] { return kit_desk_threads() == threads; }));
    kit_desk_close(desk);
}

STORY(led, request_is_passed_on_with_its_six_numbers)
{
    kit_desk desk;
    kit_start(desk);
    EXPECT_EQ(torvu_led_control(1, 50, 2, 100, 200, 3), 0);
    EXPECT_EQ(
        kit_desk_commands(desk).back(),
        R"({"index":1,"brightness":50,"mode":2,"on_ms":100,"off_ms":200,"priority":3,"do":"body.led"})");
    kit_end(desk);
}

STORY(led, request_that_is_out_of_range_fails)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":-1}})");
    EXPECT_EQ(torvu_led_control(9, 50, 0, 0, 0, 1), -1);
    kit_end(desk);
}

STORY(led, priority_is_passed_on)
{
    kit_desk desk;
    kit_start(desk);
    EXPECT_EQ(torvu_led_setpriority(2), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(), R"({"priority":2,"do":"body.led_priority"})");
    kit_end(desk);
}

STORY(led, calls_fail_without_a_start)
{
    EXPECT_EQ(torvu_led_control(0, 0, 1, 0, 0, 1), -1);
    EXPECT_EQ(torvu_led_setpriority(1), -1);
}
