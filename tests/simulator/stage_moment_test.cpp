// SPDX-License-Identifier: MIT
// Clients that wait for a moment of the virtual clock.
#include "stage_desk.h"

struct waiting_desk : stage_desk {
    control_link client;
};

// A camera at 0 ms with a client.
static void open_desk(waiting_desk &desk)
{
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
}

static void close_desk(waiting_desk &desk)
{
    control_close(desk.client);
    stage_desk_close(desk);
}

// What the client is told without the clock moving on; empty: nothing.
static std::string told_now(waiting_desk &desk)
{
    for (int turn = 0; turn < 3; turn++)
        stage_turn(desk.camera, -1, 0);
    const json_ptr answer(control_receive(desk.client, 0));
    return answer ? json_text(answer.get()) : "";
}

STORY(a_moment, is_answered_when_the_virtual_clock_gets_there_and_not_before)
{
    waiting_desk desk;
    open_desk(desk);

    stage_desk_send(desk.client, R"({"do":"clock.wait","until_ms":5000})");
    EXPECT_EQ(told_now(desk), "");
    desk_clock_step(4999);
    EXPECT_EQ(told_now(desk), "");
    desk_clock_step(1);

    EXPECT_EQ(told_now(desk), R"({"done":{"ms":5000}})");
    close_desk(desk);
}

STORY(a_moment, that_has_passed_is_answered_at_once)
{
    waiting_desk desk;
    open_desk(desk);
    desk_clock_step(700);

    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"clock.wait","until_ms":0})"),
              R"({"done":{"ms":700}})");
    close_desk(desk);
}

STORY(a_moment, keeps_only_who_waits_for_it_waiting)
{
    waiting_desk desk;
    open_desk(desk);
    control_link other;
    stage_desk_connect(desk, other);

    stage_desk_send(desk.client, R"({"do":"clock.wait","until_ms":5000})");
    EXPECT_EQ(stage_desk_ask(desk, other, R"({"do":"clock.wait","until_ms":0})"), R"({"done":{"ms":0}})");

    EXPECT_EQ(told_now(desk), "");
    control_close(other);
    close_desk(desk);
}

STORY(a_moment, that_is_no_number_is_refused)
{
    waiting_desk desk;
    open_desk(desk);
    for (const char *line : { R"({"do":"clock.wait"})", R"({"do":"clock.wait","until_ms":-1})",
                              R"({"do":"clock.wait","until_ms":9223372036854775807})" })
        EXPECT_EQ(stage_desk_ask(desk, desk.client, line),
                  R"({"refused":"clock.wait needs the moment as a number in \"until_ms\""})");
    close_desk(desk);
}

STORY(a_moment, is_refused_when_the_camera_stops_before_it)
{
    waiting_desk desk;
    open_desk(desk);
    stage_desk_send(desk.client, R"({"do":"clock.wait","until_ms":5000})");
    EXPECT_EQ(told_now(desk), "");

    stage_stop(desk.camera);

    EXPECT_EQ(told_now(desk), R"({"refused":"the camera is stopping"})");
    close_desk(desk);
}
