// SPDX-License-Identifier: MIT
// The daemon's timer, as it comes to stage on the control socket.
#include "stage_desk.h"

#include <sys/timerfd.h>
#include <unistd.h>

struct timer_scene : stage_desk {
    control_link client;
};

static void open_scene(timer_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
}

static void close_scene(timer_scene &desk)
{
    control_close(desk.client);
    stage_desk_close(desk);
}

STORY(a_timer, is_driven_for_its_owner_and_let_go_with_its_link)
{
    timer_scene desk;
    open_scene(desk);
    control_link owner;
    stage_desk_connect(desk, owner);
    const int fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    const json_ptr command = json_parse(R"({"do":"clock.timer","fd":3,"first_ms":1000,"interval_ms":1000})");
    ASSERT_TRUE(control_send(owner, command.get(), fd));
    EXPECT_EQ(stage_desk_receive(desk, owner), R"({"done":{}})");
    stage_turn(desk.camera, -1, 0);

    desk_clock_step(5000);
    EXPECT_EQ(desk_clock_ms(), 1000) << "held at the tick";
    uint64_t ticks = 0;
    EXPECT_TRUE(stage_desk_until(desk, [&] { return read(fd, &ticks, sizeof ticks) == sizeof ticks; }));
    EXPECT_EQ(ticks, 1U);

    control_close(owner);
    EXPECT_TRUE(stage_desk_until(desk, [&] { return desk.camera.clock.timers.empty(); }));
    stage_turn(desk.camera, -1, 0);
    desk_clock_step(5000);
    EXPECT_GE(desk_clock_ms(), 6000);
    close(fd);
    close_scene(desk);
}

STORY(a_timer, is_refused_without_a_descriptor_or_with_one_that_is_none)
{
    timer_scene desk;
    open_scene(desk);
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"clock.timer"})"),
                 "needs the timer's");
    const json_ptr command = json_parse(R"({"do":"clock.timer","first_ms":1000,"interval_ms":1000})");
    ASSERT_TRUE(control_send(desk.client, command.get(), STDIN_FILENO));
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_receive(desk, desk.client), "is no timer");
    close_scene(desk);
}
