// SPDX-License-Identifier: MIT
// Properties as the cloud reads and sets them.
#include "cloud_property_desk.h"

using texts = std::vector<std::string>;

STORY(cloud_property, get_asks_for_names_and_numbers_in_one_request_each_once)
{
    cloud_desk desk;
    property_desk_open(desk);

    command(desk, "prop_get", R"({"properties":["power","2.3","13.1","2.1"]})");

    EXPECT_EQ(daemon_hears_up_to(desk, "]}"),
              R"({"id":1,"method":"get_properties","params":[{"did":"123","siid":2,"piid":1},)"
              R"({"did":"123","siid":2,"piid":3},{"did":"123","siid":13,"piid":1}]})");
    cloud_desk_close(desk);
}

STORY(cloud_property, get_of_nothing_asks_for_all_in_one_request_that_the_daemon_can_take)
{
    cloud_desk desk;
    store_holds("nvram did", "0123456789012345678");
    property_desk_open(desk);

    command(desk, "prop_get");

    const std::string heard = daemon_hears_up_to(desk, "]}");
    const json_ptr request = json_parse(heard);
    json_object *params = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(request.get(), "params", &params)) << heard;
    EXPECT_EQ(json_object_array_length(params), properties_table().size());
    EXPECT_LT(heard.size(), daemon_window);
    cloud_desk_close(desk);
}

STORY(cloud_property, the_answer_to_get_is_told_and_believed)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_get", R"({"properties":["power","7.12","vendor","night_mode"]})");

    daemon_answers(desk,
                   R"({"id" : 1,"result" : [{"did" : "123","siid" : 2,"piid" : 1,"value" : true,"code" : 0},)"
                   R"({"did" : "123","siid" : 7,"piid" : 12,"code" : -4003},,)"
                   R"({"did" : "123","siid" : 2,"piid" : 3,"value" : 2,"code" : 0}]})");

    EXPECT_EQ(journal_texts("read", "id"), texts{ "1" });
    EXPECT_EQ(journal_texts("read", "properties"),
              texts{ R"([{"property":"2.1","name":"power","value":true},)"
                     R"({"property":"7.12","name":"focus_ai_light_switch","code":-4003},)"
                     R"({"property":"1.1","name":"vendor","answered":false},)"
                     R"({"property":"2.3","name":"night_mode","value":2}])" });
    EXPECT_EQ(believed(desk), (texts{ "power=true read", "night_mode=2 read" }));
    cloud_desk_close(desk);
}

STORY(cloud_property, an_answer_that_lacks_entries_is_read_by_their_numbers)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_get", R"({"properties":["power","night_mode"]})");

    daemon_answers(desk,
                   R"({"id" : 1,"result" : [{"did" : "123","siid" : 2,"piid" : 3,"value" : 2,"code" : 0}]})");

    EXPECT_EQ(journal_texts("read", "properties"),
              texts{ R"([{"property":"2.1","name":"power","answered":false},)"
                     R"({"property":"2.3","name":"night_mode","value":2}])" });
    cloud_desk_close(desk);
}

STORY(cloud_property, what_answers_no_request_of_ours_is_not_believed)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_get", R"({"properties":["power"]})");
    const std::string other =
        R"({"id" : 2,"result" : [{"did" : "123","siid" : 2,"piid" : 1,"value" : true,"code" : 0}]})";

    daemon_answers(desk, other);

    EXPECT_EQ(journal_texts("read"), texts{});
    EXPECT_EQ(believed(desk), texts{});
    cloud_desk_close(desk);
}

STORY(cloud_property, set_sends_values_of_the_properties_types)
{
    cloud_desk desk;
    property_desk_open(desk);

    command(desk, "prop_set",
            R"({"values":[["power","off"],["2.3","1"],["focus_area_name","the \"blue\" / door"]]})");

    EXPECT_EQ(daemon_hears_up_to(desk, "]}"),
              R"({"id":1,"method":"set_properties","params":[{"did":"123","siid":2,"piid":1,"value":false},)"
              R"({"did":"123","siid":2,"piid":3,"value":1},)"
              R"({"did":"123","siid":10,"piid":1,"value":"the \"blue\" / door"}]})");
    EXPECT_EQ(believed(desk), texts{});
    cloud_desk_close(desk);
}

STORY(cloud_property, what_was_set_is_believed_once_the_daemon_has_said_code_0)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_set", R"({"values":[["night_mode","1"],["wdr","on"]]})");

    daemon_answers(desk, R"({"id" : 1,"result" : [{"did" : "123","siid" : 2,"piid" : 3,"code" : 0},)"
                         R"({"did" : "123","siid" : 2,"piid" : 5,"code" : -4003}]})");
    // The daemon's own method answers the same id once more.
    daemon_answers(desk, R"({"id":1,"result":["OK"]})");

    EXPECT_EQ(journal_texts("written", "count"), texts{ "2" });
    EXPECT_EQ(believed(desk), texts{ "night_mode=1 written" });
    cloud_desk_close(desk);
}

STORY(cloud_property, bad_names_and_values_are_refused_and_nothing_is_sent)
{
    cloud_desk desk;
    property_desk_open(desk);

    EXPECT_EQ(refusal(desk, "prop_get", R"({"properties":["power","powr"]})"),
              "there is no property \"powr\", did you mean \"power\"?");
    EXPECT_EQ(refusal(desk, "prop_get", R"({"properties":[null]})"),
              "there is no property \"\"; ./camera prop list shows their names and numbers");
    EXPECT_EQ(refusal(desk, "prop_set", R"({"values":[["power","dim"]]})"),
              "power is true or false (on or off), not \"dim\"");
    EXPECT_EQ(refusal(desk, "prop_set", R"({"values":[["vendor","me"]]})"),
              "1.1 vendor cannot be set by the cloud");
    EXPECT_EQ(refusal(desk, "prop_set", R"({"values":[["13.1","me"]]})"),
              "there is no property 13.1; ./camera prop list shows all");
    EXPECT_EQ(refusal(desk, "prop_set", R"({"values":[["power"]]})"), "each property wants one value");
    EXPECT_EQ(refusal(desk, "prop_set", "{}"), "there is nothing to set; give a property and a value");
    EXPECT_EQ(daemon_hears(desk), "");
    cloud_desk_close(desk);
}

STORY(cloud_property, a_request_that_the_daemon_would_lose_is_refused)
{
    cloud_desk desk;
    property_desk_open(desk);
    const std::string thousand(1000, 'x');
    std::string many = R"(["power","on"])";
    for (int i = 0; i < 4; i++)
        many += R"(,["focus_time",")" + thousand + "\"]";

    EXPECT_EQ(refusal(desk, "prop_set", R"({"values":[["focus_time",")" + thousand + "\"]]}"),
              "the first value is too long: the daemon looks for the device id in the first 1023 bytes, and "
              "these must hold it whole");
    EXPECT_EQ(
        refusal(desk, "prop_set", R"({"values":[)" + many + "]}"),
        "that is too much for one request, which has 4096 bytes; take fewer properties or shorter values");
    EXPECT_EQ(
        refusal(desk, "prop_keep", R"({"values":[["detection_start",")" + thousand + "\"]]}").substr(0, 15),
        "the first value");
    EXPECT_EQ(daemon_hears(desk), "");
    cloud_desk_close(desk);
}

STORY(cloud_property, a_camera_without_a_daemon_or_a_device_id_is_asked_nothing)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    EXPECT_NE(refusal(desk, "prop_get", "{}").find("the daemon is not connected"), std::string::npos);
    daemon_connects(desk);
    network_comes_up(desk);
    EXPECT_EQ(refusal(desk, "prop_get", "{}"), "the daemon has not announced \"get_properties\"");
    store_holds("nvram did", "");
    EXPECT_EQ(refusal(desk, "prop_get", "{}"),
              "the camera has no device id; ./camera store set did ID gives it one");
    cloud_desk_close(desk);
}
