// SPDX-License-Identifier: MIT
#include "harness.h"

#include "common/control.h"
#include "common/host_time.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

// A link to a stage that listens; stage accepts it with its first receive.
static void connect(desk_stage &stage, control_link &link)
{
    desk_stage_listen(stage);
    ASSERT_TRUE(control_connect(link));
}

// As above, accepted.
static void meet(desk_stage &stage, control_link &link)
{
    connect(stage, link);
    const json_ptr hello = json_of("do", "hello");
    ASSERT_TRUE(control_send(link, hello.get()));
    EXPECT_EQ(json_get_text(desk_stage_receive(stage).get(), "do"), "hello");
}

static std::string received(control_link &link)
{
    const json_ptr line(control_receive(link, 20000));
    return line == nullptr ? "nothing" : json_text(line.get());
}

static void send_bytes(const desk_stage &stage, const std::string &bytes)
{
    ASSERT_EQ(send(stage.connection, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

STORY(control, nobody_can_be_reached_where_nobody_listens)
{
    control_link link;
    EXPECT_FALSE(control_connect(link));
    EXPECT_EQ(link.fd, -1);
}

STORY(control, a_path_that_is_too_long_reaches_nobody)
{
    control_link link;
    setenv("CAMERA_RUN", ("/tmp/" + std::string(108, 'x')).c_str(), 1);
    EXPECT_FALSE(control_connect(link));
    EXPECT_EQ(link.fd, -1);
}

STORY(control, a_link_is_not_given_to_programs_that_are_started)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    EXPECT_NE(fcntl(link.fd, F_GETFD) & FD_CLOEXEC, 0);
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_message_is_sent_as_one_line_and_stays_the_callers)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    const json_ptr message = json_parse(R"({"do":"store.set","value":"a\nb/c"})");
    EXPECT_TRUE(control_send(link, message.get()));
    EXPECT_EQ(json_text(desk_stage_receive(stage).get()), R"({"do":"store.set","value":"a\nb/c"})");
    EXPECT_LT(stage.passed_fd, 0);
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_descriptor_comes_along_and_stays_the_callers)
{
    desk_stage stage;
    control_link link;
    int ends[2] = {};
    connect(stage, link);
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const json_ptr message = json_of("do", "take");
    EXPECT_TRUE(control_send(link, message.get(), ends[0]));
    EXPECT_EQ(json_get_text(desk_stage_receive(stage).get(), "do"), "take");

    char byte = 0;
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(read(stage.passed_fd, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    EXPECT_GE(fcntl(ends[0], F_GETFD), 0);
    close(ends[0]);
    close(ends[1]);
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_line_longer_than_the_socket_holds_arrives_whole)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    const std::string text(3000000, 'x');
    std::thread sender([&] {
        const json_ptr message = json_of("text", text);
        EXPECT_TRUE(control_send(link, message.get()));
    });
    EXPECT_EQ(json_get_text(desk_stage_receive(stage).get(), "text"), text);
    sender.join();
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_peer_that_takes_nothing_for_5_seconds_is_given_up)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    const json_ptr message = json_of("text", std::string(3000000, 'x'));
    const int64_t start = host_time_ms();
    EXPECT_FALSE(control_send(link, message.get()));
    EXPECT_EQ(link.fd, -1);
    EXPECT_GE(host_time_ms() - start, 4990);
    EXPECT_LT(host_time_ms() - start, 15000);
    desk_stage_close(stage);
}

STORY(control, sending_to_a_peer_that_left_closes_the_link)
{
    desk_stage stage;
    control_link link;
    meet(stage, link);
    desk_stage_close(stage);
    const json_ptr message = json_of("do", "more");
    EXPECT_TRUE(desk_wait([&] { return !control_send(link, message.get()); }));
    EXPECT_EQ(link.fd, -1);
    EXPECT_FALSE(control_send(link, message.get())) << "a closed link takes nothing";
}

STORY(control, lines_are_received_one_by_one_however_they_arrive)
{
    desk_stage stage;
    control_link link;
    meet(stage, link);
    send_bytes(stage, "{\"a\":1}\n{\"a\":2}\n{\"a\"");
    EXPECT_EQ(received(link), R"({"a":1})");
    EXPECT_EQ(received(link), R"({"a":2})");
    EXPECT_EQ(control_receive(link, 0), nullptr);
    EXPECT_GE(link.fd, 0);
    send_bytes(stage, ":3}\n");
    EXPECT_EQ(received(link), R"({"a":3})");
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_line_that_is_no_object_is_dropped)
{
    desk_stage stage;
    control_link link;
    meet(stage, link);
    send_bytes(stage, "no json\n\n[1]\n17\n{\"a\":1} and more\n{\"a\":\n{\"a\":2}\n");
    EXPECT_EQ(received(link), R"({"a":2})");
    EXPECT_EQ(control_receive(link, 0), nullptr);
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, receiving_waits_as_long_as_it_is_told)
{
    desk_stage stage;
    control_link link;
    meet(stage, link);
    const int64_t start = host_time_ms();
    EXPECT_EQ(control_receive(link, 30), nullptr);
    EXPECT_GE(host_time_ms() - start, 30);
    EXPECT_GE(link.fd, 0);
    std::thread answer([&stage] { desk_stage_send(stage, R"({"a":1})"); });
    const json_ptr line(control_receive(link, -1));
    EXPECT_EQ(json_text(line.get()), R"({"a":1})");
    answer.join();
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, what_arrived_before_the_peer_left_is_still_given)
{
    desk_stage stage;
    control_link link;
    meet(stage, link);
    send_bytes(stage, "{\"a\":1}\n{\"a\":2}\n{\"half");
    desk_stage_close(stage);
    EXPECT_EQ(received(link), R"({"a":1})");
    EXPECT_EQ(received(link), R"({"a":2})");
    EXPECT_EQ(control_receive(link, -1), nullptr);
    EXPECT_EQ(link.fd, -1);
}

STORY(control, a_question_gets_its_answer)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    std::thread answer([&stage] {
        EXPECT_EQ(json_get_text(desk_stage_receive(stage).get(), "do"), "status");
        desk_stage_send(stage, R"({"done":{"ok":true}})");
    });
    const json_ptr question = json_of("do", "status");
    const json_ptr reply(control_ask(link, question.get(), 20000));
    EXPECT_EQ(json_text(reply.get()), R"({"done":{"ok":true}})");
    answer.join();
    control_close(link);
    desk_stage_close(stage);
}

STORY(control, a_question_that_nobody_answered_in_time_closes_the_link)
{
    desk_stage stage;
    control_link link;
    connect(stage, link);
    const json_ptr question = json_of("do", "status");
    EXPECT_EQ(control_ask(link, question.get(), 10), nullptr);
    EXPECT_EQ(link.fd, -1);
    desk_stage_close(stage);
}

STORY(control, answers_have_their_form)
{
    EXPECT_EQ(json_text(json_ptr(control_done(nullptr)).get()), R"({"done":{}})");
    EXPECT_EQ(json_text(json_ptr(control_done(json_object_new_int(7))).get()), R"({"done":7})");
    EXPECT_EQ(json_text(json_ptr(control_refused("say \"please\"")).get()),
              R"({"refused":"say \"please\""})");
}

static json_object *echo(const char *command, json_object *arguments)
{
    if (std::string(command) == "fail")
        return control_refused("no");
    json_object *result = json_of("command", command).release();
    json_set_text(result, "key", json_get_text(arguments, "key"));
    return control_done(result);
}

// What the service answers to a line of stage.
static std::string answer_of(control_service &service, desk_stage &stage, const std::string &line)
{
    desk_stage_send(stage, line);
    control_service_run(service);
    return json_text(desk_stage_receive(stage).get());
}

STORY(service, it_says_its_name_and_answers_with_the_tag_of_the_question)
{
    desk_stage stage;
    control_service service = { .name = "store", .answer = echo };
    desk_stage_listen(stage);
    control_service_run(service);
    EXPECT_EQ(json_text(desk_stage_receive(stage).get()), R"({"do":"serve","name":"store"})");
    desk_stage_send(stage, R"({"done":{}})"); // is no question

    EXPECT_EQ(answer_of(service, stage, R"({"do":"store.get","key":"power","tag":41})"),
              R"({"done":{"command":"get","key":"power"},"tag":41})");
    EXPECT_EQ(answer_of(service, stage, R"({"do":"store.fail","tag":"x"})"), R"({"refused":"no","tag":"x"})");
    EXPECT_EQ(answer_of(service, stage, R"({"do":"storey.get","key":"a"})"),
              R"({"done":{"command":"storey.get","key":"a"}})");
    control_close(service.link);
    desk_stage_close(stage);
}

STORY(service, it_answers_all_that_has_arrived_in_order)
{
    desk_stage stage;
    control_service service = { .name = "store", .answer = echo };
    desk_stage_listen(stage);
    control_service_run(service);
    desk_stage_receive(stage);
    for (int i = 0; i < 50; i++)
        desk_stage_send(stage, R"({"do":"store.get","tag":)" + std::to_string(i) + "}");
    control_service_run(service);
    for (int i = 0; i < 50; i++)
        EXPECT_EQ(json_get_number(desk_stage_receive(stage).get(), "tag", -1), i);
    control_close(service.link);
    desk_stage_close(stage);
}

STORY(service, without_stage_it_does_nothing)
{
    control_service service = { .name = "store", .answer = echo };
    control_service_run(service);
    EXPECT_EQ(service.link.fd, -1);
}

STORY(service, it_comes_back_when_stage_does)
{
    desk_stage stage;
    control_service service = { .name = "store", .answer = echo };
    desk_stage_listen(stage);
    control_service_run(service);
    desk_stage_receive(stage);
    desk_stage_close(stage);
    desk_stage_listen(stage);
    EXPECT_TRUE(desk_wait([&service] {
        const bool was_closed = service.link.fd < 0;
        control_service_run(service);
        return was_closed && service.link.fd >= 0;
    }));
    EXPECT_EQ(json_text(desk_stage_receive(stage).get()), R"({"do":"serve","name":"store"})");
    control_close(service.link);
    desk_stage_close(stage);
}
