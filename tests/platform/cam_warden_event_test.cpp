// SPDX-License-Identifier: MIT
// What the device kit hears from stage, and what becomes of it when stage falls silent or goes away.
#include "cam_warden_desk.h"

#include <libcam_warden.h>

#include <atomic>
#include <chrono>
#include <csignal>

static std::atomic<bool> callback_done;

STORY(event, of_the_key_comes_with_its_state)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_event(desk, R"({"event":1,"key":1})");
    kit_desk_event(desk, R"({"event":1,"key":0})");
    ASSERT_TRUE(kit_wait_for_events(2));
    EXPECT_EQ(kit_heard()[0].event, 1);
    EXPECT_EQ(kit_heard()[0].key, 1);
    EXPECT_EQ(kit_heard()[1].key, 0);
    kit_end(desk);
}

STORY(event, of_the_motor_comes_with_its_text)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_event(desk, R"({"event":2,"text":"[10,20]"})");
    kit_desk_event(desk, R"({"event":3,"text":"[1,10,20]"})");
    ASSERT_TRUE(kit_wait_for_events(2));
    EXPECT_EQ(kit_heard()[0].event, 2);
    EXPECT_EQ(kit_heard()[0].text, "[10,20]");
    EXPECT_EQ(kit_heard()[1].event, 3);
    EXPECT_EQ(kit_heard()[1].text, "[1,10,20]");
    kit_end(desk);
}

STORY(event, without_a_parameter_or_no_event_at_all_is_dropped)
{
    kit_desk desk;
    kit_start(desk);
    for (const char *line : { "", "hello", "[]", "{}", R"({"event":2})", R"({"done":{}})" })
        kit_desk_event(desk, line);
    kit_desk_event(desk, R"({"event":2,"text":"[1,1]"})");
    ASSERT_TRUE(kit_wait_for_events(1));
    EXPECT_EQ(kit_heard().size(), 1U);
    kit_end(desk);
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
    kit_end(desk);
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
    kit_end(desk);
}

STORY(stage_that_goes_away, makes_calls_fail_at_once_and_hurts_nobody)
{
    kit_desk desk;
    kit_start(desk);
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
    kit_start(desk);
    kit_desk_be_silent(desk, true);
    char position[16] = {};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

    kit_desk_be_silent(desk, false);
    kit_desk_send_late(desk, R"({"done":{"running":7}})");
    kit_desk_answer(desk, R"({"done":{"running":1}})");
    EXPECT_EQ(motor_running_dectect(), 1);
    kit_end(desk);
}
