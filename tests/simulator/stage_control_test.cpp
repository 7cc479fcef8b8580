// SPDX-License-Identifier: MIT
// The control socket: commands of stage's own, commands that are handed on, and peers that misbehave.
#include "stage_desk.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

// A stage with a store and a cloud that are not started, and one client.
struct control_desk : stage_desk {
    control_link client;
};

static void open_desk(control_desk &desk)
{
    stage_desk_open(desk);
    stage_desk_add(desk, "store", "exit 0", stage_role::serves);
    stage_desk_add(desk, "daemon", "exit 0");
    stage_desk_add(desk, "cloud", "exit 0", stage_role::serves);
    stage_desk_connect(desk, desk.client);
}

static void close_desk(control_desk &desk)
{
    control_close(desk.client);
    stage_desk_close(desk);
}

STORY(a_command, is_answered_by_stage_itself)
{
    control_desk desk;
    open_desk(desk);
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
              R"({"done":{"h":50,"v":50,"moves":false}})");
    close_desk(desk);
}

STORY(a_command, is_handed_to_the_neighbour_with_a_tag_and_its_answer_comes_back_without)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    stage_desk_serve(desk, store, "store");

    stage_desk_send(desk.client, R"({"do":"store.get","key":"power"})");
    EXPECT_EQ(stage_desk_receive(desk, store), R"({"do":"store.get","key":"power","tag":1})");
    stage_desk_send(store, R"({"done":{"value":"on"},"tag":1})");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{"value":"on"}})");
    control_close(store);
    close_desk(desk);
}

STORY(answers, reach_who_asked_in_whatever_order_they_come)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link other;
    stage_desk_serve(desk, store, "store");
    stage_desk_connect(desk, other);

    stage_desk_send(desk.client, R"({"do":"store.first"})");
    EXPECT_EQ(stage_desk_receive(desk, store), R"({"do":"store.first","tag":1})");
    stage_desk_send(other, R"({"do":"store.second"})");
    EXPECT_EQ(stage_desk_receive(desk, store), R"({"do":"store.second","tag":2})");
    stage_desk_send(store, R"({"done":"to second","tag":2})");
    stage_desk_send(store, R"({"done":"to first","tag":1})");

    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":"to first"})");
    EXPECT_EQ(stage_desk_receive(desk, other), R"({"done":"to second"})");
    control_close(store);
    control_close(other);
    close_desk(desk);
}

STORY(answers, come_in_the_order_of_the_commands_of_one_client)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    stage_desk_serve(desk, store, "store");

    stage_desk_send(desk.client, R"({"do":"store.slow"})");
    stage_desk_send(desk.client, R"({"do":"head"})");
    EXPECT_EQ(stage_desk_receive(desk, store), R"({"do":"store.slow","tag":1})");
    stage_desk_send(store, R"({"done":"slow","tag":1})");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":"slow"})");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{"h":50,"v":50,"moves":false}})");
    control_close(store);
    close_desk(desk);
}

STORY(a_neighbour_that_dies, has_its_open_requests_refused)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link other;
    stage_desk_serve(desk, store, "store");
    stage_desk_connect(desk, other);
    stage_desk_send(desk.client, R"({"do":"store.get"})");
    stage_desk_send(other, R"({"do":"store.list"})");
    stage_desk_receive(desk, store);
    stage_desk_receive(desk, store);

    control_close(store);

    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_receive(desk, desk.client),
                 "the store ended before it answered");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_receive(desk, other),
                 "the store ended before it answered");
    EXPECT_TRUE(desk.camera.routes.waiting.empty());
    control_close(other);
    close_desk(desk);
}

STORY(a_neighbour_that_dies, leaves_the_requests_of_the_others_alone)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link cloud;
    stage_desk_serve(desk, store, "store");
    stage_desk_serve(desk, cloud, "cloud");
    stage_desk_send(desk.client, R"({"do":"cloud.status"})");
    EXPECT_EQ(stage_desk_receive(desk, cloud), R"({"do":"cloud.status","tag":1})");
    control_close(store);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return !desk.camera.routes.services.contains("store"); }));
    stage_desk_send(cloud, R"({"done":{},"tag":1})");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{}})");
    control_close(cloud);
    close_desk(desk);
}

STORY(a_neighbour_that_comes_again, takes_over_and_open_requests_are_refused)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link again;
    stage_desk_serve(desk, store, "store");
    stage_desk_send(desk.client, R"({"do":"store.get"})");
    stage_desk_receive(desk, store);

    stage_desk_serve(desk, again, "store");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_receive(desk, desk.client), "ended before it answered");
    stage_desk_send(desk.client, R"({"do":"store.get"})");
    EXPECT_EQ(stage_desk_receive(desk, again), R"({"do":"store.get","tag":2})");
    control_close(again);
    control_close(store);
    close_desk(desk);
}

STORY(a_client_that_leaves, does_no_harm_when_its_answer_comes)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link other;
    stage_desk_serve(desk, store, "store");
    stage_desk_connect(desk, other);
    stage_desk_send(other, R"({"do":"store.get"})");
    stage_desk_receive(desk, store);
    control_close(other);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return desk.camera.routes.waiting.empty(); }));

    stage_desk_send(store, R"({"done":{},"tag":1})");
    stage_desk_send(store, R"({"done":{},"tag":77})");
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
              R"({"done":{"h":50,"v":50,"moves":false}})");
    control_close(store);
    close_desk(desk);
}

STORY(a_client_that_leaves_at_once, has_all_its_commands_carried_out)
{
    control_desk desk;
    open_desk(desk);
    control_link other;
    stage_desk_connect(desk, other);
    constexpr int commands = 1000; // far more than are read at once
    std::string lines;
    for (int i = 1; i <= commands; i++)
        lines += R"({"do":"body.led_priority","priority":)" + std::to_string(i) + "}\n";
    lines.pop_back(); // the line end that stage_desk_send adds
    stage_desk_send(other, lines);
    control_close(other);
    EXPECT_TRUE(stage_desk_until(desk, [&] { return desk.camera.control.connections.size() == 1; }));
    EXPECT_EQ(desk.camera.body.led_priority, commands);
    close_desk(desk);
}

STORY(a_descriptor_that_nobody_asked_for, is_closed_with_its_connection)
{
    control_desk desk;
    open_desk(desk);
    control_link other;
    stage_desk_connect(desk, other);
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    const json_ptr command = json_of("do", "head");
    for (int i = 0; i < 10; i++) {
        ASSERT_TRUE(control_send(other, command.get(), ends[1]));
        stage_desk_receive(desk, other);
    }
    close(ends[1]);
    control_close(other);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return desk.camera.control.connections.size() == 1; }));
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0) << "no copy of the other end is left";
    close(ends[0]);
    close_desk(desk);
}

STORY(a_command_for_a_neighbour, is_refused_while_it_does_not_run)
{
    control_desk desk;
    open_desk(desk);
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"cloud.status"})"),
              R"({"refused":"the cloud is not running; ./camera status shows why"})");
    close_desk(desk);
}

STORY(a_command_for_a_neighbour, is_refused_while_it_is_starting)
{
    control_desk desk;
    open_desk(desk);
    stage_desk_add(desk, "player", obedient, stage_role::serves);
    program_start(desk.camera.programs.back());
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"player.status"})"),
              R"({"refused":"the player is starting; try again in a moment"})");
    close_desk(desk);
}

STORY(an_unknown_command, is_refused_with_the_nearest_name)
{
    control_desk desk;
    open_desk(desk);
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"stats"})"),
                 R"(did you mean \"status\"?)");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"stor.get"})"),
                 R"(did you mean \"store.*\"?)");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"qwertz"})"),
                 "there are: status, leds, head, kill");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"daemon.get"})"),
                 "there is no command");
    close_desk(desk);
}

STORY(a_line_that_is_no_command, is_refused_and_the_next_one_served)
{
    struct line {
        std::string text;
        const char *reason;
    };
    const char *no_object = "no JSON object";
    const char *no_name = "the command's name";
    const line lines[] = {
        { "hello", no_object },
        { "", no_object },
        { "{", no_object },
        { "[1]", no_object },
        { "null", no_object },
        { "\xff\xfe{\"do\":", no_object },
        { std::string(10'000, '['), no_object },
        { "{}", no_name },
        { R"({"do":""})", no_name },
        { R"({"do":7})", "no command" },
        { R"({"do":{}})", "no command" },
        { std::string("{\"do\":\"he\0ad\"}", 14), no_object },
    };
    control_desk desk;
    open_desk(desk);
    for (const line &line : lines) {
        EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, line.text), line.reason)
            << line.text.substr(0, 20);
        EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
                  R"({"done":{"h":50,"v":50,"moves":false}})");
    }
    close_desk(desk);
}

STORY(a_line_without_end, is_refused_and_its_connection_closed)
{
    control_desk desk;
    open_desk(desk);
    control_link other;
    stage_desk_connect(desk, other);
    const std::string much(100'000, 'x');
    size_t sent = 0;
    ASSERT_TRUE(stage_desk_until(desk,
                                 [&] {
                                     const ssize_t n = send(other.fd, much.data(), much.size(),
                                                            MSG_NOSIGNAL | MSG_DONTWAIT);
                                     sent += n > 0 ? static_cast<size_t>(n) : 0;
                                     return n < 0 && errno == EPIPE;
                                 }))
        << sent << " bytes were taken";
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_receive(desk, other), "too long");
    EXPECT_EQ(stage_desk_receive(desk, other), "");
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
              R"({"done":{"h":50,"v":50,"moves":false}})");
    control_close(other);
    close_desk(desk);
}

STORY(a_client_that_does_not_read, holds_up_nobody_and_gets_all_its_answers_when_it_does)
{
    control_desk desk;
    open_desk(desk);
    control_link deaf;
    stage_desk_connect(desk, deaf);
    // Far more answers than fit anywhere.
    const std::string command = "{\"do\":\"status\"}\n";
    std::string commands;
    for (int i = 0; i < 1000; i++)
        commands += command;
    size_t sent = 0;
    for (int i = 0; i < 200; i++) {
        const ssize_t n = send(deaf.fd, commands.data(), commands.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0)
            sent += static_cast<size_t>(n);
        stage_turn(desk.camera, -1, 0);
    }
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
              R"({"done":{"h":50,"v":50,"moves":false}})");
    const connection &stalled = desk.camera.control.connections.begin()->second;
    EXPECT_LT(stalled.out.size(), 1U << 20) << "its commands wait";

    for (size_t i = 0; i < sent / command.size(); i++)
        ASSERT_NE(stage_desk_receive(desk, deaf), "") << i;
    control_close(deaf);
    close_desk(desk);
}

STORY(a_device_kit_that_does_not_read, is_dropped_in_the_end)
{
    control_desk desk;
    open_desk(desk);
    control_link deaf;
    stage_desk_connect(desk, deaf);
    EXPECT_EQ(stage_desk_ask(desk, deaf, R"({"do":"body.events"})"), R"({"done":{}})");
    EXPECT_TRUE(stage_desk_until(desk, [&] {
        for (int i = 0; i < 2000; i++)
            stage_tell_kits(desk.camera, json_of("text", std::string(100, 'x')).release());
        return desk.camera.kits.empty();
    }));
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"head"})"),
              R"({"done":{"h":50,"v":50,"moves":false}})");
    control_close(deaf);
    close_desk(desk);
}

STORY(a_client_that_only_sends, gets_its_answers_before_it_is_closed)
{
    control_desk desk;
    open_desk(desk);
    control_link store;
    control_link other;
    stage_desk_serve(desk, store, "store");
    stage_desk_connect(desk, other);
    stage_desk_send(other, R"({"do":"head"})");
    stage_desk_send(other, R"({"do":"store.slow"})");
    shutdown(other.fd, SHUT_WR);
    EXPECT_EQ(stage_desk_receive(desk, other), R"({"done":{"h":50,"v":50,"moves":false}})");
    EXPECT_EQ(stage_desk_receive(desk, store), R"({"do":"store.slow","tag":1})");
    stage_desk_send(store, R"({"done":"slow","tag":1})");
    EXPECT_EQ(stage_desk_receive(desk, other), R"({"done":"slow"})");
    EXPECT_EQ(stage_desk_receive(desk, other), "") << "then it is closed";
    control_close(store);
    close_desk(desk);
}
