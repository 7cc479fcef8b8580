// SPDX-License-Identifier: MIT
// The clock as the outside sees it: told, and stepped with all that happens on the way.
#include "stage_desk.h"

#include "common/clock.h"

#include <sys/timerfd.h>
#include <unistd.h>

// A camera with a client and a daemon that has a tick each second, which the scene reads.
struct clock_scene : stage_desk {
    control_link client;
    int timer = -1;
    uint64_t ticks = 0; // read so far
};

constexpr uint64_t daemon_link = 99;

static void bring_timer(clock_scene &desk)
{
    desk.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    ASSERT_TRUE(
        clock_driver_add(desk.camera.clock, { .owner = daemon_link, .fd = dup(desk.timer) }, 1000, 1000));
}

static void open_scene(clock_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
    bring_timer(desk);
}

static void close_scene(clock_scene &desk)
{
    close(desk.timer);
    control_close(desk.client);
    stage_desk_close(desk);
}

static void read_tick(clock_scene &desk)
{
    uint64_t expirations = 0;
    if (read(desk.timer, &expirations, sizeof expirations) == sizeof expirations)
        desk.ticks += expirations;
}

// Turns the stage with a daemon that reads its ticks.
static bool until(clock_scene &desk, const std::function<bool()> &condition)
{
    return stage_desk_until(desk, [&] {
        read_tick(desk);
        return condition();
    });
}

static std::string answer_of(clock_scene &desk, control_link &link)
{
    json_ptr line;
    EXPECT_TRUE(until(desk, [&] {
        line.reset(control_receive(link, 0));
        return line != nullptr;
    })) << "no answer came";
    return line == nullptr ? "" : json_text(line.get());
}

static std::string ask(clock_scene &desk, const std::string &line)
{
    stage_desk_send(desk.client, line);
    return answer_of(desk, desk.client);
}

static int64_t done_ms(const std::string &answer)
{
    const json_ptr parsed = json_parse(answer);
    return json_get_number(json_object_object_get(parsed.get(), "done"), "ms", -1);
}

STORY(the_clock, is_told_with_the_time_of_day)
{
    clock_scene desk;
    open_scene(desk);
    desk_clock_step(900);
    clock_set_realtime_ns(1'700'000'000'500'000'000);
    EXPECT_EQ(ask(desk, R"({"do":"clock"})"), R"({"done":{"ms":900,"realtime_ms":1700000000500}})");
    close_scene(desk);
}

STORY(a_step, is_answered_when_the_clock_is_there_and_every_tick_was_read)
{
    clock_scene desk;
    open_scene(desk);
    const std::string answer = ask(desk, R"({"do":"clock.step","ms":100500})");
    EXPECT_EQ(done_ms(answer), 100'500) << answer;
    EXPECT_EQ(desk_clock_ms(), 100'500);
    EXPECT_EQ(desk.ticks, 100U);
    close_scene(desk);
}

STORY(a_step, takes_the_time_of_day_with_it)
{
    clock_scene desk;
    open_scene(desk);
    clock_set_realtime_ns(1'700'000'000'000'000'000);
    EXPECT_EQ(ask(desk, R"({"do":"clock.step","ms":60000})"),
              R"({"done":{"ms":60000,"realtime_ms":1700000060000}})");
    close_scene(desk);
}

STORY(a_step, halts_at_whatever_is_due_on_the_way)
{
    clock_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":11,"value":"[60,50]","length":7})");
    ask(desk, R"({"do":"clock.step","ms":60000})");
    bool seen = false;
    for (const json_ptr &line : desk_journal()) {
        if (json_get_text(line.get(), "what") != "head")
            continue;
        seen = true;
        EXPECT_EQ(json_get_number(line.get(), "ms"), 500) << "when the head came to rest";
    }
    EXPECT_TRUE(seen);
    close_scene(desk);
}

STORY(a_step, waits_for_a_program_that_starts_again)
{
    clock_scene desk;
    open_scene(desk);
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    program_start(desk.camera.programs[0]);
    stage_desk_send(desk.client, R"({"do":"clock.step","ms":60000})");
    for (int i = 0; i < 100; i++)
        until(desk, [] { return true; });
    EXPECT_EQ(desk_clock_ms(), 0) << "it does not serve yet";

    control_link store;
    stage_desk_serve(desk, store, "store");
    EXPECT_EQ(done_ms(answer_of(desk, desk.client)), 60'000);
    control_close(store);
    close_scene(desk);
}

STORY(a_step, waits_for_a_daemon_that_starts_again)
{
    clock_scene desk;
    open_scene(desk);
    stage_desk_send(desk.client, R"({"do":"clock.step","ms":60000})");
    ASSERT_TRUE(until(desk, [&] { return desk.ticks >= 10; }));
    clock_driver_forget(desk.camera.clock, daemon_link);
    close(desk.timer);
    const int64_t stands_ms = desk_clock_ms();
    for (int i = 0; i < 100; i++)
        until(desk, [] { return true; });
    EXPECT_EQ(desk_clock_ms(), stands_ms) << "the rest is not jumped over";

    bring_timer(desk);
    EXPECT_EQ(done_ms(answer_of(desk, desk.client)), 60'000);
    EXPECT_GE(desk.ticks, 58U);
    close_scene(desk);
}

STORY(a_step, is_given_up_when_the_camera_does_not_get_whole)
{
    clock_scene desk;
    open_scene(desk);
    desk.camera.step_patience_ms = 50;
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    program_start(desk.camera.programs[0]);
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, R"({"do":"clock.step","ms":60000})"),
                 "not all of the camera runs");
    EXPECT_FALSE(desk.camera.step.under_way);
    close_scene(desk);
}

STORY(a_step, ends_when_who_asked_for_it_leaves)
{
    clock_scene desk;
    open_scene(desk);
    stage_desk_send(desk.client, R"({"do":"clock.step","ms":86400000})");
    ASSERT_TRUE(until(desk, [&] { return desk.ticks >= 10; }));
    control_close(desk.client);
    ASSERT_TRUE(until(desk, [&] { return !desk.camera.step.under_way; }));
    const int64_t stands_ms = desk_clock_ms();
    for (int i = 0; i < 100; i++)
        until(desk, [] { return true; });
    EXPECT_LE(desk_clock_ms(), stands_ms + 1000) << "no tick is due after that, for the clock stands still";
    close_scene(desk);
}

STORY(a_step, is_refused_when_the_camera_stops)
{
    clock_scene desk;
    open_scene(desk);
    stage_desk_add(desk, "daemon", obedient);
    program_start(desk.camera.programs[0]);
    stage_desk_send(desk.client, R"({"do":"clock.step","ms":86400000})");
    ASSERT_TRUE(until(desk, [&] { return desk.ticks >= 3; }));
    stage_stop(desk.camera);
    EXPECT_PRED2(stage_desk_is_refusal, answer_of(desk, desk.client), "the camera is stopping");
    close_scene(desk);
}

STORY(a_step, is_refused_during_another)
{
    clock_scene desk;
    open_scene(desk);
    control_link other;
    stage_desk_connect(desk, other);
    stage_desk_send(desk.client, R"({"do":"clock.step","ms":3600000})");
    ASSERT_TRUE(until(desk, [&] { return desk.camera.step.under_way; }));
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, other, R"({"do":"clock.step","ms":1000})"),
                 "being stepped already");
    control_close(other);
    close_scene(desk);
}

STORY(a_step, wants_a_time_that_can_be)
{
    clock_scene desk;
    open_scene(desk);
    for (const char *ms : { "0", "-1000", "\"60\"", "9000000000000000000" }) {
        EXPECT_PRED2(stage_desk_is_refusal, ask(desk, std::string(R"({"do":"clock.step","ms":)") + ms + "}"),
                     "at most a year");
    }
    EXPECT_EQ(desk_clock_ms(), 0);
    close_scene(desk);
}
