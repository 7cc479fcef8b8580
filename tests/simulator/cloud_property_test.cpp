// SPDX-License-Identifier: MIT
// Properties between cloud and daemon: read, set, reported, pulled, and what the cloud believes of them.
#include "cloud_desk.h"

#include "cloud/property_memory.h"

using texts = std::vector<std::string>;

static void property_desk_open(cloud_desk &desk)
{
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "get_properties", "set_properties" });
}

static std::string refusal(cloud_desk &desk, const char *name, const std::string &arguments)
{
    return json_get_text(json_parse(command(desk, name, arguments)).get(), "refused");
}

// "property=value from" for each property that the cloud has a value of.
static texts believed(cloud_desk &desk)
{
    texts all;
    for (const property &row : properties_table()) {
        const property_copy &copy = *property_copy_of(desk.self, { row.siid, row.piid });
        if (copy.value)
            all.push_back(row.name + ("=" + json_text(copy.value.get())) + " " + copy.from);
    }
    return all;
}

static void daemon_answers(cloud_desk &desk, const std::string &text)
{
    const size_t before = journal_texts("received").size();
    daemon_says(desk, text);
    cloud_works_until(desk, [&] { return journal_texts("received").size() > before; });
}

static std::string report(const std::string &number, const std::string &value)
{
    const size_t point = number.find('.');
    return R"({"id" : 0,"method" : "properties_changed","params" : [{"did" : "123","siid" : )" +
           number.substr(0, point) + R"(,"piid" : )" + number.substr(point + 1) + R"(,"value" : )" + value +
           "}]}";
}

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
    EXPECT_EQ(json_object_array_length(params), 39U);
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

STORY(cloud_property, a_report_is_told_and_believed)
{
    cloud_desk desk;
    property_desk_open(desk);

    daemon_answers(desk, report("2.3", "0"));
    daemon_answers(desk, report("10.1", R"("the "blue" door")"));
    daemon_answers(desk, report("0.0", "true"));

    EXPECT_EQ(journal_texts("reported", "property"), (texts{ "2.3", "10.1", "0.0" }));
    EXPECT_EQ(journal_texts("reported", "name"), (texts{ "night_mode", "focus_area_name", "" }));
    EXPECT_EQ(journal_texts("reported", "value"), (texts{ "0", "the \"blue\" door", "true" }));
    EXPECT_EQ(journal_texts("reported", "json"), (texts{ "", "false", "" }));
    EXPECT_EQ(believed(desk),
              (texts{ "night_mode=0 reported", R"(focus_area_name="the \"blue\" door" reported)" }));
    cloud_desk_close(desk);
}

static std::string pull(const std::string &id, const texts &numbers)
{
    std::string elements;
    for (const std::string &number : numbers) {
        const size_t point = number.find('.');
        elements += (elements.empty() ? "" : ",") + (R"({"did":"123","siid" : )" + number.substr(0, point)) +
                    R"(,"piid" : )" + number.substr(point + 1) + "}";
    }
    return R"({"id" : )" + id + R"(,"method":"_sync.spec_get_prop","params":{"properties":[)" + elements +
           "]}}";
}

STORY(cloud_property, a_pull_is_answered_with_texts_and_the_question_s_id)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(
        desk, "prop_keep",
        R"({"values":[["5.1","on"],["5.2","30"],["5.3","0"],["5.4","08:00:00"],["5.5","\"x\""],["2.8","false"]]})");

    daemon_says(desk, pull("71", { "5.1", "5.2", "5.3", "5.4", "5.5", "2.8" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"),
              R"({"id":71,"result":{"properties":[{"did":"123","siid":5,"piid":1,"value":"true"},)"
              R"({"did":"123","siid":5,"piid":2,"value":"30"},{"did":"123","siid":5,"piid":3,"value":"0"},)"
              R"({"did":"123","siid":5,"piid":4,"value":"08:00:00"},)"
              R"({"did":"123","siid":5,"piid":5,"value":"\"x\""},)"
              R"({"did":"123","siid":2,"piid":8,"value":"false"}]}})");
    EXPECT_EQ(journal_texts("pulled", "count"), texts{ "6" });
    cloud_desk_close(desk);
}

STORY(cloud_property, a_pull_with_the_id_0_is_answered_with_the_id_0)
{
    cloud_desk desk;
    property_desk_open(desk);

    daemon_says(desk, pull("0", { "5.1" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"), R"({"id":0,"result":{"properties":[]}})");
    cloud_desk_close(desk);
}

STORY(cloud_property, a_pull_with_the_id_of_our_own_request_is_a_question_all_the_same)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_get", R"({"properties":["5.1"]})");
    daemon_hears_up_to(desk, "]}");

    daemon_says(desk, pull("1", { "5.1" }));
    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"), R"({"id":1,"result":{"properties":[]}})");
    daemon_answers(
        desk, R"({"id" : 1,"result" : [{"did" : "123","siid" : 5,"piid" : 1,"value" : true,"code" : 0}]})");

    EXPECT_EQ(believed(desk), texts{ "motion_detection=true read" });
    cloud_desk_close(desk);
}

STORY(cloud_property, what_the_cloud_does_not_know_is_left_out_of_the_answer_to_a_pull)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_keep", R"({"values":[["5.2","30"]]})");

    daemon_says(desk, pull("9", { "5.1", "13.1", "5.2" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"),
              R"({"id":9,"result":{"properties":[{"did":"123","siid":5,"piid":2,"value":"30"}]}})");
    EXPECT_EQ(journal_texts("pulled", "unknown"), texts{ "2" });
    daemon_says(desk, R"({"id" : 3,"method":"_sync.spec_get_prop","params":{"properties":7}})");
    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"), R"({"id":3,"result":{"properties":[]}})");
    cloud_desk_close(desk);
}

STORY(cloud_property, a_value_that_the_daemon_could_not_take_is_left_out_of_the_answer_to_a_pull)
{
    cloud_desk desk;
    property_desk_open(desk);
    daemon_answers(desk, report("5.4", '"' + std::string(5000, 'x') + '"'));
    daemon_answers(desk, report("5.2", "30"));

    daemon_says(desk, pull("9", { "5.4", "5.2" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"),
              R"({"id":9,"result":{"properties":[{"did":"123","siid":5,"piid":2,"value":"30"}]}})");
    cloud_desk_close(desk);
}

STORY(cloud_property, what_was_kept_stays_until_the_camera_reports_another_value)
{
    cloud_desk desk;
    property_desk_open(desk);
    EXPECT_EQ(command(desk, "prop_keep", R"({"values":[["5.2","30"],["flip","180"]]})"),
              R"({"done":{"properties":[{"property":"5.2","name":"alarm_interval","value":30,"pulled":true},)"
              R"({"property":"2.2","name":"flip","value":180,"pulled":false}]}})");
    EXPECT_EQ(journal_texts("kept", "property"), (texts{ "5.2", "2.2" }));

    command(desk, "prop_get", R"({"properties":["5.2","2.2"]})");
    daemon_answers(desk,
                   R"({"id" : 1,"result" : [{"did" : "123","siid" : 5,"piid" : 2,"value" : 5,"code" : 0},)"
                   R"({"did" : "123","siid" : 2,"piid" : 2,"value" : 0,"code" : 0}]})");
    EXPECT_EQ(believed(desk), (texts{ "flip=180 kept", "alarm_interval=30 kept" }));

    daemon_answers(desk, report("5.2", "7"));
    EXPECT_EQ(believed(desk), (texts{ "flip=180 kept", "alarm_interval=7 reported" }));
    cloud_desk_close(desk);
}

STORY(cloud_property, list_has_a_row_for_each)
{
    cloud_desk desk;
    property_desk_open(desk);
    daemon_answers(desk, report("2.1", "false"));

    const json_ptr answer = json_parse(command(desk, "prop_list"));

    json_object *done = nullptr;
    json_object *rows = nullptr;
    json_object_object_get_ex(answer.get(), "done", &done);
    ASSERT_TRUE(json_object_object_get_ex(done, "properties", &rows));
    ASSERT_EQ(json_object_array_length(rows), 39U);
    EXPECT_EQ(json_text(json_object_array_get_idx(rows, 4)),
              R"({"property":"2.1","name":"power","value":false,"type":"bool","lives":"nvram power",)"
              R"("space":"nvram","key":"power","watched":"if bound","settable":true,"pulled":false,)"
              R"("from":"reported"})");
    cloud_desk_close(desk);
}

STORY(cloud_property, what_is_believed_is_believed_in_the_next_life)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_keep", R"({"values":[["5.2","30"],["10.1","the \"blue\" door"]]})");
    daemon_answers(desk, report("2.1", "false"));
    const texts before = believed(desk);
    ASSERT_EQ(before.size(), 3U);
    cloud_desk next;
    cloud_desk_open(next);

    property_recall(next.self, property_memory(desk.self));

    EXPECT_EQ(believed(next), before);
    cloud_desk_close(desk);
    cloud_desk_close(next);
}

STORY(cloud_property, a_memory_that_is_damaged_is_no_trouble)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    for (const char *memory :
         { "", "{", "[]", "7", R"({"power":7})", R"({"power":{"from":"heaven","value":true}})",
           R"({"power":{"from":"read"}})", R"({"power":{"from":"read","value":null}})" })
        property_recall(desk.self, memory);
    EXPECT_EQ(believed(desk), texts{});

    property_recall(desk.self, R"({"gone":{"from":"read","value":1},"power":{"from":"read","value":true}})");

    EXPECT_EQ(believed(desk), texts{ "power=true read" });
    cloud_desk_close(desk);
}

static std::string last_saved;

STORY(cloud_property, what_is_believed_is_saved_when_it_changes)
{
    cloud_desk desk;
    property_desk_open(desk);
    desk.self.settings.save = [](const std::string &memory) { last_saved = memory; };

    daemon_answers(desk, report("2.1", "false"));
    cloud_works_until(desk, [] { return !last_saved.empty(); });

    EXPECT_EQ(last_saved, R"({"power":{"from":"reported","value":false}})");
    cloud_desk_close(desk);
}
