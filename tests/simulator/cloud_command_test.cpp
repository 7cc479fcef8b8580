// SPDX-License-Identifier: MIT
// What the outside can ask of the cloud client, and the binding.
#include "cloud_desk.h"

using texts = std::vector<std::string>;

STORY(cloud_command, call_numbers_its_requests_from_one_and_shows_what_was_sent)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "set_power", "get_prop" });
    const std::string first = R"({"id":1,"method":"set_power","params":["off"]})";
    const std::string second = R"({"id":2,"method":"get_prop","params":[]})";

    const std::string answer = command(desk, "call", R"({"method":"set_power","params":["off"]})");
    command(desk, "call", R"({"method":"get_prop"})");

    const json_ptr said = json_parse(answer);
    json_object *done = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(said.get(), "done", &done));
    EXPECT_EQ(json_get_number(done, "id"), 1);
    EXPECT_EQ(json_get_text(done, "text"), first);
    EXPECT_EQ(daemon_hears_up_to(desk, "[]}"), first + second);
    cloud_desk_close(desk);
}

STORY(cloud_command, call_takes_any_params)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "set_lsd_config" });

    command(desk, "call", R"({"method":"set_lsd_config","params":{"a/b":[1.50,null,"ä"],"c":{}}})");

    EXPECT_EQ(daemon_hears_up_to(desk, "}}}"),
              R"({"id":1,"method":"set_lsd_config","params":{"a/b":[1.50,null,"ä"],"c":{}}})");
    cloud_desk_close(desk);
}

STORY(cloud_command, call_refuses_what_was_not_announced_and_names_the_nearest)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    daemon_announces(desk, { "set_power", "get_prop", "set_motor" });

    EXPECT_EQ(command(desk, "call", R"({"method":"set_powr"})"),
              R"({"refused":"the daemon has not announced \"set_powr\", did you mean \"set_power\"?"})");
    EXPECT_EQ(command(desk, "call", R"({"method":"open_window"})"),
              R"({"refused":"the daemon has not announced \"open_window\""})");
    EXPECT_EQ(journal_texts("sent"), texts{});
    cloud_desk_close(desk);
}

STORY(cloud_command, call_is_refused_without_a_daemon)
{
    cloud_desk desk;
    cloud_desk_open(desk);

    const std::string answer = command(desk, "call", R"({"method":"set_power"})");

    EXPECT_NE(answer.find("the daemon is not connected"), std::string::npos) << answer;
    cloud_desk_close(desk);
}

STORY(cloud_command, send_sends_the_text_as_it_is)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);

    command(desk, "send", R"({"text":"{half a \"mess"})");

    EXPECT_EQ(daemon_hears_up_to(desk, "mess"), "{half a \"mess");
    EXPECT_EQ(journal_texts("sent").back(), "{half a \"mess");
    EXPECT_NE(command(desk, "send", R"({"text":""})").find("refused"), std::string::npos);
    cloud_desk_close(desk);
}

STORY(cloud_command, net_tells_the_daemon_and_ends_the_way_up)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    command(desk, "net", R"({"status":"internet_failed"})");
    EXPECT_EQ(daemon_hears_up_to(desk, "}"), R"({"method":"local.status","params":"internet_failed"})");
    desk_clock_step(5000);
    command(desk, "net", R"({"status":"cloud_retry"})");

    EXPECT_EQ(daemon_hears_up_to(desk, "}"), R"({"method":"local.status","params":"cloud_retry"})");
    EXPECT_EQ(journal_texts("network", "status"),
              (texts{ "wifi_connecting", "internet_failed", "cloud_retry" }));
    cloud_desk_close(desk);
}

STORY(cloud_command, net_with_the_present_status_says_nothing_twice)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    const size_t told = journal_texts("network").size();

    command(desk, "net", R"({"status":"cloud_connected"})");

    EXPECT_EQ(journal_texts("network").size(), told);
    EXPECT_NE(command(desk, "net").find("refused"), std::string::npos);
    cloud_desk_close(desk);
}

STORY(cloud_command, status_and_methods_tell_how_things_stand)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    EXPECT_NE(command(desk, "status").find("\"connected\":false"), std::string::npos);
    daemon_connects(desk);
    daemon_announces(desk, { "set_power", "get_prop" });

    EXPECT_EQ(command(desk, "methods"), R"({"done":{"methods":["set_power","get_prop"]}})");
    const std::string status = command(desk, "status");
    EXPECT_NE(status.find("\"connected\":true"), std::string::npos) << status;
    EXPECT_NE(status.find("\"methods\":2"), std::string::npos) << status;
    EXPECT_NE(status.find("\"network\":\"wifi_connecting\""), std::string::npos) << status;
    cloud_desk_close(desk);
}

STORY(cloud_command, an_unknown_command_is_refused_with_the_nearest)
{
    cloud_desk desk;
    cloud_desk_open(desk);

    EXPECT_EQ(command(desk, "methds"),
              R"({"refused":"the cloud client knows no command \"methds\", did you mean \"methods\"?"})");
    cloud_desk_close(desk);
}

static const std::string bind_message = R"({"method":"local.bind","result":"ok"})";

STORY(cloud_binding, a_new_camera_is_bound_once_the_cloud_is_reached)
{
    cloud_desk desk;
    cloud_desk_open(desk, "");
    daemon_connects(desk);
    daemon_announces(desk, { "local.bind" });
    EXPECT_EQ(journal_texts("bound"), texts{});

    desk_clock_step(1000);

    const std::string heard = daemon_hears_up_to(desk, bind_message);
    EXPECT_TRUE(heard.ends_with(R"("cloud_connected"})" + bind_message)) << heard;
    EXPECT_EQ(journal_texts("bound", "before"), texts{ "false" });
    cloud_desk_close(desk);
}

STORY(cloud_binding, a_daemon_that_comes_late_is_told_once_it_knows_the_method)
{
    cloud_desk desk;
    cloud_desk_open(desk, "");
    network_comes_up(desk);
    daemon_connects(desk);

    daemon_announces(desk, { "set_power" });
    EXPECT_EQ(journal_texts("bound"), texts{});
    daemon_says(desk, R"({"method":"register","key":"local.bind"})");

    EXPECT_EQ(daemon_hears_up_to(desk, bind_message), bind_message);
    cloud_desk_close(desk);
}

STORY(cloud_binding, a_bound_camera_is_left_in_peace)
{
    cloud_desk desk;
    cloud_desk_open(desk, "ok");
    daemon_connects(desk);
    daemon_announces(desk, { "local.bind" });

    network_comes_up(desk);
    cloud_works_until(desk, [] { return !journal_texts("bound").empty(); });

    EXPECT_EQ(journal_texts("bound", "before"), texts{ "true" });
    EXPECT_EQ(daemon_hears(desk), "");
    cloud_desk_close(desk);
}

STORY(cloud_binding, a_camera_that_shall_not_be_bound_is_not)
{
    cloud_desk desk;
    cloud_desk_open(desk, "", false);
    daemon_connects(desk);
    daemon_announces(desk, { "local.bind" });
    network_comes_up(desk);

    daemon_says(desk, R"({"id":1,"method":"local.query_status"})");

    EXPECT_EQ(daemon_hears_up_to(desk, "}"),
              R"({"id":1,"method":"local.status","params":"cloud_connected"})");
    EXPECT_EQ(journal_texts("bound"), texts{});
    cloud_desk_close(desk);
}

STORY(cloud_binding, is_looked_at_again_for_a_new_connection)
{
    cloud_desk desk;
    cloud_desk_open(desk, "");
    daemon_connects(desk);
    daemon_announces(desk, { "local.bind" });
    desk_clock_step(1000);
    daemon_hears_up_to(desk, bind_message);

    daemon_connects(desk);
    daemon_says(desk, R"({"method":"register","key":"local.bind"})");

    EXPECT_EQ(daemon_hears_up_to(desk, bind_message), bind_message);
    cloud_desk_close(desk);
}

STORY(cloud_binding, is_told_to_the_daemon_when_it_is_asked_for)
{
    cloud_desk desk;
    cloud_desk_open(desk, "ok");
    daemon_connects(desk);
    network_comes_up(desk);
    EXPECT_EQ(command(desk, "bind", R"({"result":"fail"})"), R"({"done":{"result":"fail"}})");
    EXPECT_EQ(daemon_hears_up_to(desk, "}"), R"({"method":"local.bind","result":"fail"})");
    EXPECT_EQ(command(desk, "bind", "{}"), R"({"done":{"result":"ok"}})");
    EXPECT_EQ(daemon_hears_up_to(desk, bind_message), bind_message);
    cloud_desk_close(desk);
}

STORY(cloud_binding, cannot_be_told_to_a_daemon_that_is_not_there)
{
    cloud_desk desk;
    cloud_desk_open(desk, "");
    const std::string answer = command(desk, "bind", "{}");
    EXPECT_NE(answer.find("the daemon is not connected"), std::string::npos) << answer;
    cloud_desk_close(desk);
}

STORY(cloud_binding, is_left_alone_once_the_camera_was_unbound)
{
    cloud_desk desk;
    cloud_desk_open(desk, "");
    EXPECT_EQ(command(desk, "unbind", "{}"), R"({"done":{}})");
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "local.bind", "get_prop" });
    command(desk, "send", R"({"text":"the end"})");
    EXPECT_EQ(daemon_hears_up_to(desk, "the end"), "the end");
    EXPECT_EQ(journal_texts("bound"), texts{});
    cloud_desk_close(desk);
}

STORY(cloud_binding, is_made_by_itself_again_once_the_camera_was_bound)
{
    cloud_desk desk;
    cloud_desk_open(desk, "", false);
    daemon_connects(desk);
    network_comes_up(desk);
    command(desk, "bind", "{}");
    daemon_hears_up_to(desk, bind_message);
    daemon_connects(desk);
    daemon_announces(desk, { "local.bind" });
    EXPECT_EQ(daemon_hears_up_to(desk, bind_message), bind_message);
    cloud_desk_close(desk);
}
