// SPDX-License-Identifier: MIT
// What the device kit asks of stage and is told by it: LEDs, head, reset key.
#include "stage_desk.h"

#include "stage/commands.h"

#include <sys/timerfd.h>
#include <unistd.h>

// A camera with a client, and a device kit that hears events.
struct kit_scene : stage_desk {
    control_link client;
    control_link kit;
};

static void open_scene(kit_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
    stage_desk_connect(desk, desk.kit);
    EXPECT_EQ(stage_desk_ask(desk, desk.kit, R"({"do":"body.events"})"), R"({"done":{}})");
}

static void close_scene(kit_scene &desk)
{
    control_close(desk.client);
    control_close(desk.kit);
    stage_desk_close(desk);
}

static std::string ask(kit_scene &desk, const std::string &line)
{
    return stage_desk_ask(desk, desk.client, line);
}

// What the kit hears next, and when.
static std::string hear_at(kit_scene &desk, int64_t ms)
{
    desk_clock_step(ms - desk_clock_ms());
    return stage_desk_receive(desk, desk.kit);
}

// Nothing is on its way to the kit.
static void expect_silence(kit_scene &desk)
{
    EXPECT_EQ(stage_desk_ask(desk, desk.kit, R"({"do":"body.motor_running"})").substr(0, 8), R"({"done":)");
}

STORY(leds, are_journalled_as_what_the_daemon_did)
{
    kit_scene desk;
    open_scene(desk);
    EXPECT_EQ(
        ask(desk,
            R"({"do":"body.led","index":0,"brightness":50,"mode":2,"on_ms":100,"off_ms":200,"priority":2})"),
        R"({"done":{"result":0}})");
    EXPECT_EQ(ask(desk, R"({"do":"body.led","index":9,"mode":0,"priority":2})"), R"({"done":{"result":-1}})");
    EXPECT_EQ(ask(desk, R"({"do":"body.led_priority","priority":1})"), R"({"done":{"result":0}})");

    const std::vector<std::string> leds = {
        R"({"who":"daemon","what":"led","index":0,"brightness":50,"mode":2,"on_ms":100,"off_ms":200,"priority":2,"applied":true})",
        R"({"who":"daemon","what":"led","index":9,"brightness":-1,"mode":0,"on_ms":-1,"off_ms":-1,"priority":2,"applied":false})",
    };
    EXPECT_EQ(desk_journal_of("led"), leds);
    EXPECT_EQ(desk_journal_of("led_priority"),
              std::vector<std::string>{ R"({"who":"daemon","what":"led_priority","priority":1})" });
    EXPECT_EQ(ask(desk, R"({"do":"leds"})"),
              R"({"done":{"priority":1,"leds":[{"index":0,"state":"blink","brightness":50,"on_ms":100,)"
              R"("off_ms":200,"priority":2},{"index":1,"state":"off","brightness":0,"on_ms":0,"off_ms":0,)"
              R"("priority":0}]}})");
    close_scene(desk);
}

STORY(a_step, brings_the_place_that_the_head_will_have_and_is_journalled)
{
    kit_scene desk;
    open_scene(desk);
    EXPECT_EQ(ask(desk, R"({"do":"body.motor","operation":1,"length":16})"),
              R"({"done":{"result":0,"position":"[45,50]"}})");
    EXPECT_EQ(desk_journal_of("motor"),
              std::vector<std::string>{
                  R"({"who":"daemon","what":"motor","operation":1,"value":null,"length":16,"result":0})" });
    close_scene(desk);
}

STORY(a_step, that_is_refused_brings_the_place_nevertheless)
{
    kit_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":1})");
    EXPECT_EQ(ask(desk, R"({"do":"body.motor","operation":1})"),
              R"({"done":{"result":-1,"position":"[45,50]"}})")
        << "it is busy";
    desk.camera.body.head.h = {};
    EXPECT_EQ(ask(desk, R"({"do":"body.motor","operation":1})"),
              R"({"done":{"result":-1,"position":"[0,50]"}})")
        << "the end of travel";
    close_scene(desk);
}

STORY(the_head, moves_for_as_long_as_it_takes)
{
    kit_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":1})");
    desk_clock_step(249);
    EXPECT_EQ(ask(desk, R"({"do":"body.motor_running"})"), R"({"done":{"running":1}})");
    EXPECT_EQ(ask(desk, R"({"do":"head"})"), R"({"done":{"h":46,"v":50,"moves":true}})");
    desk_clock_step(1);
    EXPECT_EQ(ask(desk, R"({"do":"body.motor_running"})"), R"({"done":{"running":0}})");
    EXPECT_EQ(ask(desk, R"({"do":"head"})"), R"({"done":{"h":45,"v":50,"moves":false}})");
    close_scene(desk);
}

STORY(the_head, tells_the_kit_of_its_way_and_of_its_rest)
{
    kit_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":11,"value":"[60,50]","length":7})");
    EXPECT_EQ(hear_at(desk, 200), R"({"event":3,"text":"[1,54,50]"})");
    EXPECT_EQ(hear_at(desk, 400), R"({"event":3,"text":"[1,58,50]"})");
    EXPECT_EQ(hear_at(desk, 500), R"({"event":2,"text":"[60,50]"})");
    EXPECT_EQ(desk_journal_of("head"),
              std::vector<std::string>{ R"({"who":"stage","what":"head","h":60,"v":50})" });
    close_scene(desk);
}

STORY(the_head, turns_by_degrees_without_a_word_to_the_kit)
{
    kit_scene desk;
    open_scene(desk);
    EXPECT_EQ(ask(desk, R"({"do":"body.motor","operation":7,"value":36,"length":-1})"),
              R"({"done":{"result":0}})");
    desk_clock_step(500);
    EXPECT_TRUE(stage_desk_until(desk, [] { return !desk_journal_of("head").empty(); }));
    expect_silence(desk);
    EXPECT_EQ(desk_journal_of("head"),
              std::vector<std::string>{ R"({"who":"stage","what":"head","h":60,"v":50})" });
    close_scene(desk);
}

STORY(the_head, has_told_of_one_move_before_it_begins_the_next)
{
    kit_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":11,"value":"[51,50]","length":7})");
    desk_clock_step(50);
    // The next command arrives before stage has looked at the clock again.
    connection caller;
    const json_ptr next = json_parse(R"({"do":"body.motor","operation":11,"value":"[50,50]"})");
    json_object_put(command_motor(desk.camera, caller, next.get()));
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":2,"text":"[51,50]"})");
    EXPECT_EQ(hear_at(desk, 100), R"({"event":2,"text":"[50,50]"})");
    close_scene(desk);
}

STORY(the_head, halts_at_a_reboot)
{
    kit_scene desk;
    open_scene(desk);
    ask(desk, R"({"do":"body.motor","operation":11,"value":"[100,50]","length":8})");
    desk_clock_step(100);
    stage_reboot(desk.camera);
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    EXPECT_EQ(ask(desk, R"({"do":"head"})"), R"({"done":{"h":52,"v":50,"moves":false}})");
    close_scene(desk);
}

STORY(the_key, is_heard_by_the_kit_when_it_is_pressed_and_released)
{
    kit_scene desk;
    open_scene(desk);
    EXPECT_EQ(ask(desk, R"({"do":"key.press"})"), R"({"done":{}})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":1})");
    EXPECT_EQ(ask(desk, R"({"do":"key.release"})"), R"({"done":{}})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":0})");
    const std::vector<std::string> lines = { R"({"who":"stage","what":"key","state":1})",
                                             R"({"who":"stage","what":"key","state":0})" };
    EXPECT_EQ(desk_journal_of("key"), lines);
    close_scene(desk);
}

STORY(the_key, is_refused_when_nobody_hears_it)
{
    kit_scene desk;
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
    for (const char *line :
         { R"({"do":"key.press"})", R"({"do":"key.release"})", R"({"do":"key.hold","ms":1})" })
        EXPECT_PRED2(stage_desk_is_refusal, ask(desk, line), "nobody heard the key");
    EXPECT_TRUE(desk_journal_of("key").empty());
    close_scene(desk);
}

STORY(the_key, is_held_for_as_long_as_was_asked_and_the_answer_waits_for_that)
{
    kit_scene desk;
    open_scene(desk);
    desk_clock_step(10'400);
    stage_desk_send(desk.client, R"({"do":"key.hold","ms":1500})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":1})");
    desk_clock_step(1499);
    expect_silence(desk);
    desk_clock_step(1);
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":0})");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{}})");
    close_scene(desk);
}

STORY(the_key, that_is_held_cannot_be_turned_otherwise)
{
    kit_scene desk;
    open_scene(desk);
    control_link other;
    stage_desk_connect(desk, other);
    stage_desk_send(desk.client, R"({"do":"key.hold","ms":1000})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":1})");
    for (const char *line :
         { R"({"do":"key.press"})", R"({"do":"key.release"})", R"({"do":"key.hold","ms":1})" })
        EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, other, line), "is held already");
    desk_clock_step(1000);
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{}})");
    EXPECT_EQ(stage_desk_ask(desk, other, R"({"do":"key.press"})"), R"({"done":{}})");
    control_close(other);
    close_scene(desk);
}

STORY(the_key, is_let_go_although_who_asked_has_left)
{
    kit_scene desk;
    open_scene(desk);
    stage_desk_send(desk.client, R"({"do":"key.hold","ms":1000})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":1})");
    control_close(desk.client);
    EXPECT_TRUE(stage_desk_until(desk, [&] { return desk.camera.control.connections.size() == 1; }));
    EXPECT_EQ(hear_at(desk, 1000), R"({"event":1,"key":0})");
    close_scene(desk);
}

STORY(the_key, wants_to_know_how_long_it_is_held)
{
    kit_scene desk;
    open_scene(desk);
    for (const char *line :
         { R"({"do":"key.hold"})", R"({"do":"key.hold","ms":0})", R"({"do":"key.hold","ms":"2"})" })
        EXPECT_PRED2(stage_desk_is_refusal, ask(desk, line), "how long");
    close_scene(desk);
}

// The daemon reads its clock in whole seconds at ticks that come anywhere in a second.
STORY(the_key, is_held_until_the_daemon_has_counted_the_seconds_too)
{
    kit_scene desk;
    open_scene(desk);
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    desk_clock_step(300);
    ASSERT_TRUE(clock_driver_add(desk.camera.clock, { .owner = 99, .fd = dup(timer) }, 10'000, 1000));
    desk_clock_step(9900); // pressed at 10.2 s, which the daemon takes for 10 s; ticks come at 10.3, 11.3, ..
    stage_desk_send(desk.client, R"({"do":"key.hold","ms":2000})");
    EXPECT_EQ(stage_desk_receive(desk, desk.kit), R"({"event":1,"key":1})");

    EXPECT_EQ(desk.camera.key.release_ns, 12'400'000'000) << "a moment after the tick of 12 s";
    close(timer);
    close_scene(desk);
}
