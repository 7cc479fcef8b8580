// SPDX-License-Identifier: MIT
#include "cam_warden_desk.h"

#include <libcam_warden.h>

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

// What the callback was told, written by the kit's thread.
struct heard_event {
    int event;
    int key;          // of event 1
    std::string text; // of the others
};

static std::mutex heard_mutex;
static std::vector<heard_event> heard;
static std::atomic<bool> callback_done;

static void note_event(int event, void *param)
{
    const std::lock_guard<std::mutex> guard(heard_mutex);
    const bool is_key = event == 1;
    heard.push_back({ event, is_key ? *static_cast<const int *>(param) : -1,
                      is_key ? "" : static_cast<const char *>(param) });
}

static std::vector<heard_event> all_heard(void)
{
    const std::lock_guard<std::mutex> guard(heard_mutex);
    return heard;
}

static bool wait_for_events(size_t count)
{
    return desk_wait([count] { return all_heard().size() >= count; });
}

static std::string last_command(kit_desk &desk)
{
    const std::vector<std::string> commands = kit_desk_commands(desk);
    return commands.empty() ? "" : commands.back();
}

static void start_kit(kit_desk &desk)
{
    kit_desk_open(desk);
    ASSERT_EQ(torvu_camwarden_init(note_event), 0);
}

static void end_kit(kit_desk &desk)
{
    torvu_camwarden_exit();
    kit_desk_close(desk);
}

STORY(kit_start, fails_without_stage)
{
    EXPECT_EQ(torvu_camwarden_init(note_event), -1);
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
    EXPECT_EQ(torvu_camwarden_init(note_event), -1);
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
    start_kit(desk);
    EXPECT_EQ(torvu_camwarden_init(note_event), -1);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    EXPECT_TRUE(wait_for_events(1)) << "the first start holds";
    end_kit(desk);
}

STORY(kit_start, works_again_after_an_exit)
{
    kit_desk desk;
    start_kit(desk);
    torvu_camwarden_exit();
    EXPECT_EQ(torvu_camwarden_init(note_event), 0);
    EXPECT_EQ(torvu_led_setpriority(1), 0);
    end_kit(desk);
}

STORY(kit_exit, is_harmless_before_a_start_and_twice)
{
    torvu_camwarden_exit();
    kit_desk desk;
    start_kit(desk);
    torvu_camwarden_exit();
    torvu_camwarden_exit();
    kit_desk_close(desk);
}

STORY(kit_exit, ends_motor_calls_and_movement)
{
    kit_desk desk;
    start_kit(desk);
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
    EXPECT_EQ(torvu_camwarden_init(note_event), 0) << "and the kit can be started again";
    end_kit(desk);
}

STORY(kit, leaves_nothing_behind_after_1000_starts)
{
    kit_desk desk;
    kit_desk_open(desk);
    const size_t threads = kit_desk_threads();
    const size_t descriptors = kit_desk_descriptors();
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); i++) {
        EXPECT_EQ(torvu_camwarden_init(note_event), 0) << i;
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
    start_kit(desk);
    EXPECT_EQ(torvu_led_control(1, 50, 2, 100, 200, 3), 0);
    EXPECT_EQ(
        last_command(desk),
        R"({"index":1,"brightness":50,"mode":2,"on_ms":100,"off_ms":200,"priority":3,"do":"body.led"})");
    end_kit(desk);
}

STORY(led, request_that_is_out_of_range_fails)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"result":-1}})");
    EXPECT_EQ(torvu_led_control(9, 50, 0, 0, 0, 1), -1);
    end_kit(desk);
}

STORY(led, priority_is_passed_on)
{
    kit_desk desk;
    start_kit(desk);
    EXPECT_EQ(torvu_led_setpriority(2), 0);
    EXPECT_EQ(last_command(desk), R"({"priority":2,"do":"body.led_priority"})");
    end_kit(desk);
}

STORY(led, calls_fail_without_a_start)
{
    EXPECT_EQ(torvu_led_control(0, 0, 1, 0, 0, 1), -1);
    EXPECT_EQ(torvu_led_setpriority(1), -1);
}

STORY(motor_step, brings_the_new_position)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[45,50]"}})");
    for (int operation = 1; operation <= 4; operation++) {
        char position[16] = {};
        EXPECT_EQ(torvu_motor_control(operation, position, 16), 0);
        EXPECT_STREQ(position, "[45,50]");
        EXPECT_EQ(last_command(desk),
                  R"({"operation":)" + std::to_string(operation) + R"(,"length":16,"do":"body.motor"})");
    }
    end_kit(desk);
}

STORY(motor_step, fails_at_the_end_of_travel_and_brings_the_position_nevertheless)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"result":-1,"position":"[0,50]"}})");
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_STREQ(position, "[0,50]");
    end_kit(desk);
}

STORY(motor_step, never_writes_beyond_the_buffer)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[100,100]"}})");
    char position[16];
    memset(position, 'x', sizeof position);
    EXPECT_EQ(torvu_motor_control(2, position, 4), 0);
    EXPECT_EQ(memcmp(position, "[10\0xxxxxxxxxxxx", sizeof position), 0);
    memset(position, 'x', sizeof position);
    EXPECT_EQ(torvu_motor_control(2, position, -1), 0);
    EXPECT_EQ(position[0], 'x');
    end_kit(desk);
}

STORY(motor_go, hands_over_the_text)
{
    kit_desk desk;
    start_kit(desk);
    char text[128] = "[30,60]";
    EXPECT_EQ(torvu_motor_control(5, text, 16), 0);
    EXPECT_EQ(last_command(desk), R"({"operation":5,"length":16,"value":"[30,60]","do":"body.motor"})");
    EXPECT_EQ(torvu_motor_control(12, text, 128), 0);
    EXPECT_EQ(last_command(desk), R"({"operation":12,"length":128,"value":"[30,60]","do":"body.motor"})");
    EXPECT_STREQ(text, "[30,60]") << "and leaves it as it is";
    end_kit(desk);
}

STORY(motor_go, reads_no_more_than_the_length)
{
    kit_desk desk;
    start_kit(desk);
    char text[8] = { '[', '3', '0', ',', '6', '0', ']', '9' };
    EXPECT_EQ(torvu_motor_control(11, text, 7), 0);
    EXPECT_EQ(last_command(desk), R"({"operation":11,"length":7,"value":"[30,60]","do":"body.motor"})");
    EXPECT_EQ(torvu_motor_control(11, text, -1), 0);
    EXPECT_EQ(last_command(desk), R"({"operation":11,"length":-1,"value":"","do":"body.motor"})");
    end_kit(desk);
}

STORY(motor_turn, hands_over_the_degrees)
{
    kit_desk desk;
    start_kit(desk);
    for (int operation = 7; operation <= 10; operation++) {
        int degrees = 30;
        EXPECT_EQ(torvu_motor_control(operation, &degrees, -1), 0);
        EXPECT_EQ(last_command(desk), R"({"operation":)" + std::to_string(operation) +
                                          R"(,"length":-1,"value":30,"do":"body.motor"})");
    }
    end_kit(desk);
}

STORY(motor_stop, hands_over_nothing_and_leaves_the_buffer)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[1,1]"}})");
    char text[16] = {};
    EXPECT_EQ(torvu_motor_control(6, text, 16), 0);
    EXPECT_EQ(last_command(desk), R"({"operation":6,"length":16,"do":"body.motor"})");
    EXPECT_STREQ(text, "");
    end_kit(desk);
}

STORY(motor, refuses_a_call_without_parameter)
{
    kit_desk desk;
    start_kit(desk);
    for (int operation = 1; operation <= 12; operation++)
        EXPECT_EQ(torvu_motor_control(operation, nullptr, 16), -1);
    EXPECT_TRUE(kit_desk_commands(desk).empty());
    end_kit(desk);
}

STORY(motor, takes_a_refusal_as_failure)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"refused":"no"})");
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_EQ(motor_running_dectect(), 0);
    end_kit(desk);
}

STORY(motor, tells_whether_the_head_moves)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_answer(desk, R"({"done":{"running":1}})");
    EXPECT_EQ(motor_running_dectect(), 1);
    EXPECT_EQ(last_command(desk), R"({"do":"body.motor_running"})");
    kit_desk_answer(desk, R"({"done":{"running":0}})");
    EXPECT_EQ(motor_running_dectect(), 0);
    end_kit(desk);
}

STORY(motor, may_be_called_from_any_thread)
{
    kit_desk desk;
    start_kit(desk);
    {
        const std::lock_guard<std::mutex> guard(desk.mutex);
        desk.answer = [](json_object *command) {
            return R"({"done":{"result":)" + std::to_string(json_get_number(command, "value")) + "}}";
        };
    }
    std::atomic<int> wrong = 0;
    std::vector<std::thread> callers;
    for (int i = 1; i <= 8; i++) {
        callers.emplace_back([i, &wrong] {
            for (int n = 0; n < 100; n++) {
                int degrees = i * 1000 + n;
                wrong += torvu_motor_control(7, &degrees, -1) == degrees ? 0 : 1;
            }
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(wrong, 0) << "everybody got the own answer";
    EXPECT_EQ(kit_desk_commands(desk).size(), 800U);
    end_kit(desk);
}

STORY(event, of_the_key_comes_with_its_state)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    kit_desk_event(desk, R"({"event":1,"key":0})");
    ASSERT_TRUE(wait_for_events(2));
    EXPECT_EQ(all_heard()[0].event, 1);
    EXPECT_EQ(all_heard()[0].key, 1);
    EXPECT_EQ(all_heard()[1].key, 0);
    end_kit(desk);
}

STORY(event, of_the_motor_comes_with_its_text)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_event(desk, R"({"event":2,"text":"[10,20]"})");
    kit_desk_event(desk, R"({"event":3,"text":"[1,10,20]"})");
    ASSERT_TRUE(wait_for_events(2));
    EXPECT_EQ(all_heard()[0].event, 2);
    EXPECT_EQ(all_heard()[0].text, "[10,20]");
    EXPECT_EQ(all_heard()[1].event, 3);
    EXPECT_EQ(all_heard()[1].text, "[1,10,20]");
    end_kit(desk);
}

STORY(event, without_a_parameter_or_no_event_at_all_is_dropped)
{
    kit_desk desk;
    start_kit(desk);
    for (const char *line : { "", "hello", "[]", "{}", R"({"event":2})", R"({"done":{}})" })
        kit_desk_event(desk, line);
    kit_desk_event(desk, R"({"event":2,"text":"[1,1]"})");
    ASSERT_TRUE(wait_for_events(1));
    EXPECT_EQ(all_heard().size(), 1U);
    end_kit(desk);
}

STORY(event, comes_on_a_thread_that_takes_no_signal)
{
    kit_desk desk;
    kit_desk_open(desk);
    static std::atomic<bool> same_thread;
    static std::atomic<bool> open_signal;
    static pthread_t main_thread = pthread_self();
    ASSERT_EQ(torvu_camwarden_init([](int, void *) {
                  same_thread = pthread_equal(pthread_self(), main_thread) != 0;
                  sigset_t blocked;
                  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
                  for (int signal : { SIGINT, SIGTERM, SIGCHLD, SIGPIPE, SIGUSR1, SIGALRM })
                      open_signal = open_signal || sigismember(&blocked, signal) == 0;
                  callback_done = true;
              }),
              0);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    ASSERT_TRUE(desk_wait([] { return callback_done.load(); }));
    EXPECT_FALSE(same_thread);
    EXPECT_FALSE(open_signal);
    sigset_t mine;
    pthread_sigmask(SIG_SETMASK, nullptr, &mine);
    EXPECT_EQ(sigismember(&mine, SIGINT), 0) << "the caller's own mask is as before";
    end_kit(desk);
}

STORY(event, callback_may_call_the_kit)
{
    kit_desk desk;
    kit_desk_open(desk);
    static std::atomic<int> result = 99;
    ASSERT_EQ(torvu_camwarden_init([](int, void *) {
                  char position[16] = {};
                  result = torvu_motor_control(1, position, 16);
              }),
              0);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    EXPECT_TRUE(desk_wait([] { return result == 0; }));
    end_kit(desk);
}

STORY(stage_that_goes_away, makes_calls_fail_at_once_and_hurts_nobody)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_close(desk);
    char position[16] = {};
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
        EXPECT_EQ(motor_running_dectect(), 0);
        EXPECT_EQ(torvu_led_control(0, 50, 0, 0, 0, 1), -1);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    torvu_camwarden_exit();
}

STORY(stage_that_does_not_answer, is_given_up_after_a_while_and_its_late_answer_is_nobodys)
{
    kit_desk desk;
    start_kit(desk);
    kit_desk_be_silent(desk, true);
    char position[16] = {};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

    kit_desk_be_silent(desk, false);
    kit_desk_send_late(desk, R"({"done":{"running":7}})");
    kit_desk_answer(desk, R"({"done":{"running":1}})");
    EXPECT_EQ(motor_running_dectect(), 1);
    end_kit(desk);
}
