// SPDX-License-Identifier: MIT
// What the store does when stage hands it a command from the control socket.
#include "store_client.h"

// stage's end of the socket, and the store that has made itself known there.
struct commanded_store {
    desk_stage stage;
    store_process store;

    commanded_store()
    {
        desk_page();
        desk_stage_listen(stage);
        store = store_start();
        const json_ptr serve = desk_stage_receive(stage);
        EXPECT_EQ(json_text(serve.get()), R"({"do":"serve","name":"store"})");
        desk_stage_send(stage, R"({"done":{}})");
    }

    ~commanded_store()
    {
        store_end(store, SIGKILL);
        desk_stage_close(stage);
    }

    std::string answer(const std::string &command)
    {
        desk_stage_send(stage, command);
        return json_text(desk_stage_receive(stage).get());
    }
};

STORY(store_commands, get_gives_value_and_type)
{
    commanded_store camera;
    EXPECT_EQ(camera.answer(R"({"do":"store.get","space":"nvram","key":"motor","tag":7})"),
              R"({"done":{"type":1,"value":"[50,50]"},"tag":7})");
}

STORY(store_commands, get_of_what_is_not_there_is_refused)
{
    commanded_store camera;
    EXPECT_EQ(camera.answer(R"({"do":"store.get","space":"mem","key":"motor"})"),
              R"({"refused":"mem has no value for \"motor\""})");
}

STORY(store_commands, set_is_written_and_told_to_those_who_watch)
{
    commanded_store camera;
    raw_client watcher = raw_connect_as("watcher");
    raw_do(watcher, wire_kind::watch, "nvram", "power");
    EXPECT_EQ(camera.answer(R"({"do":"store.set","space":"nvram","key":"power","value":"off"})"),
              R"({"done":{}})");
    wire_message message;
    ASSERT_TRUE(raw_receive(watcher, message));
    EXPECT_EQ(message.value.text, "on");
    ASSERT_TRUE(raw_receive(watcher, message));
    EXPECT_EQ(message.value.text, "off");
    ASSERT_EQ(desk_journal_of("set").size(), 1U);
    EXPECT_EQ(
        desk_journal_of("set")[0],
        R"({"who":"store","what":"set","space":"nvram","key":"power","type":1,"value":"off","by":"control"})");
}

STORY(store_commands, set_takes_a_number_as_text_or_as_number)
{
    commanded_store camera;
    const std::string ask = R"({"do":"store.get","space":"mem","key":"time_night"})";
    EXPECT_EQ(
        camera.answer(
            R"({"do":"store.set","space":"mem","key":"time_night","type":5,"value":"18446744073709551615"})"),
        R"({"done":{}})");
    EXPECT_EQ(camera.answer(ask), R"({"done":{"type":5,"value":"18446744073709551615"}})");
    EXPECT_EQ(camera.answer(R"({"do":"store.set","space":"mem","key":"time_night","type":5,"value":7})"),
              R"({"done":{}})");
    EXPECT_EQ(camera.answer(ask), R"({"done":{"type":5,"value":"7"}})");
}

STORY(store_commands, unset_removes_and_is_told)
{
    commanded_store camera;
    raw_client watcher = raw_connect_as("watcher");
    raw_do(watcher, wire_kind::watch, "nvram", "power");
    EXPECT_EQ(camera.answer(R"({"do":"store.unset","space":"nvram","key":"power"})"), R"({"done":{}})");
    wire_message message;
    ASSERT_TRUE(raw_receive(watcher, message));
    ASSERT_TRUE(raw_receive(watcher, message));
    EXPECT_EQ(message.value.type, wire_type::none);
    EXPECT_EQ(raw_get(watcher, "nvram", "power"), "(nothing)");
}

STORY(store_commands, reset_brings_the_factory_defaults_and_is_told)
{
    commanded_store camera;
    raw_client watcher = raw_connect_as("watcher");
    raw_do(watcher, wire_kind::set, "nvram", "power", text_value("off"));
    raw_do(watcher, wire_kind::watch, "nvram", "power");
    EXPECT_EQ(camera.answer(R"({"do":"store.reset"})"), R"({"done":{}})");
    wire_message message;
    ASSERT_TRUE(raw_receive(watcher, message));
    EXPECT_EQ(message.value.text, "off");
    ASSERT_TRUE(raw_receive(watcher, message));
    EXPECT_EQ(message.value.text, "on");
}

STORY(store_commands, list_gives_everything_sorted)
{
    commanded_store camera;
    camera.answer(R"({"do":"store.set","space":"mem","key":"track","value":"stop"})");
    const std::string nvram = R"({"space":"nvram","key":"language","type":1,"value":"en"},)"
                              R"({"space":"nvram","key":"motor","type":1,"value":"[50,50]"},)"
                              R"({"space":"nvram","key":"power","type":1,"value":"on"})";
    const std::string mem = R"({"space":"mem","key":"track","type":1,"value":"stop"})";
    EXPECT_EQ(camera.answer(R"({"do":"store.list"})"), R"({"done":{"keys":[)" + nvram + "," + mem + "]}}");
    EXPECT_EQ(camera.answer(R"({"do":"store.list","space":"nvram"})"),
              R"({"done":{"keys":[)" + nvram + "]}}");
    EXPECT_EQ(camera.answer(R"({"do":"store.list","space":"mem"})"), R"({"done":{"keys":[)" + mem + "]}}");
}

static void expect_refused(commanded_store &camera, const std::string &command, const std::string &sentence)
{
    const json_ptr wanted = json_of("refused", sentence);
    EXPECT_EQ(camera.answer(command), json_text(wanted.get())) << command;
}

STORY(store_commands, a_member_that_is_missing_or_no_text_is_refused_by_name)
{
    commanded_store camera;
    const char *no_space = "a \"space\" is missing, give it as a text";
    const char *no_value = "a \"value\" is missing, give it as a text, or as a number with \"type\":5";
    expect_refused(camera, R"({"do":"store.get","key":"power"})", no_space);
    expect_refused(camera, R"({"do":"store.get","space":7,"key":"power"})", no_space);
    expect_refused(camera, R"({"do":"store.get","space":"nvram"})",
                   "a \"key\" is missing, give it as a text");
    expect_refused(camera, R"({"do":"store.set","space":"nvram","key":"power"})", no_value);
    expect_refused(camera, R"({"do":"store.set","space":"nvram","key":"power","value":7})", no_value);
}

STORY(store_commands, what_a_key_or_a_value_cannot_be_is_refused)
{
    commanded_store camera;
    const char *no_attic = "there is no namespace \"attic\", take \"nvram\" or \"mem\"";
    expect_refused(camera, R"({"do":"store.get","space":"attic","key":"power"})", no_attic);
    expect_refused(camera, R"({"do":"store.list","space":"attic"})", no_attic);
    expect_refused(camera, R"({"do":"store.set","space":"nvram","key":"","value":"x"})",
                   "a key has 1 to 1024 bytes and no NUL among them");
    expect_refused(camera, R"({"do":"store.set","space":"nvram","key":"power","value":"7","type":2})",
                   "\"type\" is 1 for a text or 5 for a number");
    expect_refused(camera, R"({"do":"store.set","space":"nvram","key":"power","value":"-7","type":5})",
                   "a value of type 1 is a text of at most 1048576 bytes, one of type 5 a number from 0 to "
                   "18446744073709551615");
}

STORY(store_commands, an_unknown_command_is_refused_with_those_there_are)
{
    commanded_store camera;
    expect_refused(
        camera, R"({"do":"store.polish"})",
        "there is no command \"store.polish\", take store.get, store.set, store.unset, store.list or "
        "store.reset");
}

STORY(store_commands, it_serves_its_clients_without_stage)
{
    store_process store = store_start();
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    store_end(store, SIGKILL);
}

STORY(store_commands, it_finds_stage_when_that_comes_later)
{
    store_process store = store_start();
    desk_stage stage;
    desk_stage_listen(stage);
    const json_ptr serve = desk_stage_receive(stage);
    EXPECT_EQ(json_text(serve.get()), R"({"do":"serve","name":"store"})");
    store_end(store, SIGKILL);
    desk_stage_close(stage);
}
