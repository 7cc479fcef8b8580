// SPDX-License-Identifier: MIT
// What the cloud believes of the camera's properties: from reports, kept, pulled, and remembered.
#include "cloud_property_desk.h"

#include "cloud/property_memory.h"

using texts = std::vector<std::string>;

STORY(cloud_property_copy, a_report_is_told_and_believed)
{
    cloud_desk desk;
    property_desk_open(desk);

    daemon_answers(desk, property_report("2.3", "0"));
    daemon_answers(desk, property_report("10.1", R"("the "blue" door")"));
    daemon_answers(desk, property_report("0.0", "true"));

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

STORY(cloud_property_copy, a_pull_is_answered_with_texts_and_the_question_s_id)
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

STORY(cloud_property_copy, a_pull_with_the_id_0_is_answered_with_the_id_0)
{
    cloud_desk desk;
    property_desk_open(desk);

    daemon_says(desk, pull("0", { "5.1" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"), R"({"id":0,"result":{"properties":[]}})");
    cloud_desk_close(desk);
}

STORY(cloud_property_copy, a_pull_with_the_id_of_our_own_request_is_a_question_all_the_same)
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

STORY(cloud_property_copy, what_the_cloud_does_not_know_is_left_out_of_the_answer_to_a_pull)
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

STORY(cloud_property_copy, a_value_that_the_daemon_could_not_take_is_left_out_of_the_answer_to_a_pull)
{
    cloud_desk desk;
    property_desk_open(desk);
    daemon_answers(desk, property_report("5.4", '"' + std::string(5000, 'x') + '"'));
    daemon_answers(desk, property_report("5.2", "30"));

    daemon_says(desk, pull("9", { "5.4", "5.2" }));

    EXPECT_EQ(daemon_hears_up_to(desk, "]}}"),
              R"({"id":9,"result":{"properties":[{"did":"123","siid":5,"piid":2,"value":"30"}]}})");
    cloud_desk_close(desk);
}

STORY(cloud_property_copy, what_was_kept_stays_until_the_camera_reports_another_value)
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

    daemon_answers(desk, property_report("5.2", "7"));
    EXPECT_EQ(believed(desk), (texts{ "flip=180 kept", "alarm_interval=7 reported" }));
    cloud_desk_close(desk);
}

STORY(cloud_property_copy, list_has_a_row_for_each)
{
    cloud_desk desk;
    property_desk_open(desk);
    daemon_answers(desk, property_report("2.1", "false"));

    const json_ptr answer = json_parse(command(desk, "prop_list"));

    json_object *done = nullptr;
    json_object *rows = nullptr;
    json_object_object_get_ex(answer.get(), "done", &done);
    ASSERT_TRUE(json_object_object_get_ex(done, "properties", &rows));
    ASSERT_EQ(json_object_array_length(rows), properties_table().size());
    EXPECT_EQ(json_text(json_object_array_get_idx(rows, 4)),
              R"({"property":"2.1","name":"power","value":false,"type":"bool","lives":"nvram power",)"
              R"("space":"nvram","key":"power","watched":"if bound","settable":true,"pulled":false,)"
              R"("from":"reported"})");
    cloud_desk_close(desk);
}

STORY(cloud_property_copy, what_is_believed_is_believed_in_the_next_life)
{
    cloud_desk desk;
    property_desk_open(desk);
    command(desk, "prop_keep", R"({"values":[["5.2","30"],["10.1","the \"blue\" door"]]})");
    daemon_answers(desk, property_report("2.1", "false"));
    const texts before = believed(desk);
    ASSERT_EQ(before.size(), 3U);
    cloud_desk next;
    cloud_desk_open(next);

    property_recall(next.self, property_memory(desk.self));

    EXPECT_EQ(believed(next), before);
    cloud_desk_close(desk);
    cloud_desk_close(next);
}

STORY(cloud_property_copy, a_memory_that_is_damaged_is_no_trouble)
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

STORY(cloud_property_copy, what_is_believed_is_saved_when_it_changes)
{
    cloud_desk desk;
    property_desk_open(desk);
    desk.self.settings.save = [](const std::string &memory) { last_saved = memory; };

    daemon_answers(desk, property_report("2.1", "false"));
    cloud_works_until(desk, [] { return !last_saved.empty(); });

    EXPECT_EQ(last_saved, R"({"power":{"from":"reported","value":false}})");
    cloud_desk_close(desk);
}
