// SPDX-License-Identifier: MIT
// The cloud's numbered properties of a whole camera: set, read, reported, pulled and checked.
#include "virtual_camera.h"

#include <algorithm>
#include <span>

using texts = std::vector<std::string>;

// One settable property, and what setting it must lead to.
struct setting {
    const char *number;
    const char *text;  // as the user gives it
    const char *read;  // as it is read back, in JSON
    const char *space; // where it is stored, and as what
    const char *key;
    const char *stored;
};

static constexpr char region_off[] = "[1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]";
static constexpr char cannot_be_read[] = "code -4003";

// None of them has this value in a new camera.
// clang-format off
static constexpr setting watched[] = {
    { "2.1", "false",    "false",        "nvram", "power",                          "off"        },
    { "2.2", "180",      "180",          "nvram", "flip",                           "on"         },
    { "2.3", "0",        "0",            "nvram", "night_mode",                     "2"          },
    { "2.5", "on",       "true",         "nvram", "wdr",                            "on"         },
    { "2.6", "off",      "false",        "nvram", "full_color",                     "off"        },
    { "2.7", "2",        "2",            "nvram", "motion_record",                  "stop"       },
    { "2.8", "true",     "true",         "mem",   "track_switch",                   "on"         },
    { "2.9", "false",    "false",        "nvram", "watermark",                      "off"        },
    { "3.1", "false",    "false",        "nvram", "light",                          "off"        },
    { "5.1", "true",     "true",         "nvram", "motion_detection_enable",        "on"         },
    { "5.2", "30",       "30",           "nvram", "motion_alarm_interval",          "30"         },
    { "5.3", "0",        "0",            "nvram", "motion_region",                  region_off   },
    { "5.4", "08:00:00", "\"08:00:00\"", "mem",   "detection_start",                "08:00:00"   },
    { "5.5", "20:30:00", "\"20:30:00\"", "mem",   "detection_end",                  "20:30:00"   },
    { "7.1", "true",     "true",         "nvram", "human_detection_enable",         "on"         },
    { "7.2", "true",     "true",         "nvram", "report_motion_detection_switch", "on"         },
    { "7.3", "true",     "true",         "nvram", "loud_detection_enable",          "on"         },
};
// The daemon watches none of these keys: what is set here is never reported.
static constexpr setting unwatched[] = {
    { "10.1",  "garden",  "\"garden\"",  "mem",   "focus_area_name",     "garden"  },
    { "10.2",  "[1,\"2\"]", "\"[1,\\\"2\\\"]\"", "mem", "focus_area_region", "[1,\"2\"]" },
    { "10.3",  "8 to 10", "\"8 to 10\"", "mem",   "focus_time",          "8 to 10" },
    { "10.6",  "12",      "12",          "mem",   "focus_area_in_time",  "12"      },
    { "10.8",  "345",     "345",         "mem",   "focus_area_out_time", "345"     },
    { "10.9",  "party",   "\"party\"",   "mem",   "focus_scene",         "party"   },
    { "10.10", "hello",   cannot_be_read, "mem",  "focus_quick_reply",   "hello"   },
    { "10.12", "20",      "20",          "mem",   "focus_collect_time",  "20"      },
    { "11.1",  "bell",    "\"bell\"",    "nvram", "sound_alarm_name",    "bell"    },
    { "11.2",  "ding",    "\"ding\"",    "nvram", "sound_alarm_type",    "ding"    },
    { "11.3",  "true",    "true",        "nvram", "sound_alarm_enable",  "on"      },
};
// clang-format on

class properties : public camera_case {
protected:
    // A member of each of the properties that a command's --json lists.
    std::vector<json_ptr> rows(const texts &words)
    {
        std::vector<json_ptr> all;
        const json_ptr done = camera_ask(camera, words);
        json_object *list = nullptr;
        json_object_object_get_ex(done.get(), "properties", &list);
        for (size_t i = 0; list != nullptr && i < json_object_array_length(list); i++)
            all.emplace_back(json_object_get(json_object_array_get_idx(list, i)));
        return all;
    }

    // The next report of the property; its value in JSON.
    std::string reported(const std::string &number)
    {
        const json_ptr line = camera_sees(camera, { "who=cloud", "what=reported", "property=" + number });
        json_object *value = nullptr;
        json_object_object_get_ex(line.get(), "value", &value);
        return json_text(value);
    }

    std::string read_back(const std::string &number)
    {
        const command_result result = camera_do(camera, { "prop", "get", "--json", number });
        const json_ptr done = json_parse(result.out);
        json_object *list = nullptr;
        json_object *value = nullptr;
        json_object_object_get_ex(done.get(), "properties", &list);
        json_object *answer = json_object_array_get_idx(list, 0);
        if (json_object_object_get_ex(answer, "value", &value))
            return json_text(value);
        return "code " + json_get_text(answer, "code");
    }
};

TEST_F(properties, that_can_be_set_are_all_set_in_one_go_stored_and_read_back_and_the_watched_ones_reported)
{
    camera_start(camera);
    texts words = { "prop", "set" };
    for (const setting &row : watched)
        words.insert(words.end(), { row.number, row.text });
    for (const setting &row : unwatched)
        words.insert(words.end(), { row.number, row.text });

    camera_ask(camera, words);

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=written", "count=28" }));
    for (const setting &row : watched)
        EXPECT_EQ(reported(row.number), row.read) << row.number;
    for (const std::span<const setting> half :
         { std::span<const setting>(watched), std::span<const setting>(unwatched) }) {
        for (const setting &row : half) {
            EXPECT_EQ(camera_value(camera, row.space, row.key), row.stored) << row.number;
            EXPECT_EQ(read_back(row.number), row.read) << row.number;
        }
    }
    // What is reported is reported in the order of the changes, so nothing is still to come after this.
    camera_ask(camera, { "prop", "set", "2.2", "0" });
    EXPECT_EQ(reported("2.2"), "0");
    for (const setting &row : unwatched)
        EXPECT_TRUE(
            camera_journal(camera, { "what=reported", std::string("property=") + row.number }).empty())
            << row.number << " is not watched";
}

TEST_F(properties, night_mode_0_is_stored_as_2_and_reported_as_0)
{
    camera_start(camera);

    camera_ask(camera, { "prop", "set", "2.3", "0" });

    EXPECT_TRUE(
        camera_sees(camera, { "who=store", "space=nvram", "key=night_mode", "value=2", "by=daemon" }));
    EXPECT_EQ(reported("2.3"), "0");
    EXPECT_EQ(camera_do(camera, { "prop", "get", "night_mode" }).out, "0\n");
}

TEST_F(properties, power_is_reported_by_a_bound_camera_only)
{
    camera_start(camera, { "--unbound" });

    camera_ask(camera, { "prop", "set", "power", "off", "wdr", "on" });

    EXPECT_EQ(reported("2.5"), "true");
    EXPECT_EQ(camera_value(camera, "nvram", "power"), "off");
    EXPECT_TRUE(camera_journal(camera, { "what=reported", "property=2.1" }).empty());
    EXPECT_EQ(read_back("power"), "true");
}

TEST_F(properties, changed_by_another_program_are_reported)
{
    camera_start(camera);

    EXPECT_EQ(camera_do(camera, { "store", "set", "nvram", "human_detection_enable", "on" }).status, 0);

    // The camera itself has reported it before, when it started.
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=reported", "property=7.1", "value=true" }));
    EXPECT_NE(camera_do(camera, { "prop", "copy" }).out.find("human_detection"), std::string::npos);
}

TEST_F(properties, are_listed_with_type_value_place_and_whether_they_are_watched)
{
    camera_start(camera);

    const std::string table = camera_do(camera, { "prop", "list" }).out;

    EXPECT_EQ(static_cast<size_t>(std::count(table.begin(), table.end(), '\n')),
              rows({ "prop", "list" }).size() + 1);
    EXPECT_NE(table.find("\n1.3     device_id                string   \"274913586\"              nvram did "),
              std::string::npos)
        << table;
    EXPECT_NE(
        table.find("\n2.3     night_mode               int      2                        nvram night_mode "),
        std::string::npos)
        << table;
    EXPECT_NE(table.find("\n7.12    focus_ai_light_switch    bool     code -4003               "),
              std::string::npos)
        << table;
    EXPECT_NE(table.find("\n10.3    focus_time               string   no answer                "),
              std::string::npos)
        << table;
}

TEST_F(properties, without_an_answer_are_told_from_those_with_a_code)
{
    camera_start(camera);

    const command_result result = camera_do(camera, { "prop", "get", "6.1", "power", "13.1", "7.12" });

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "6.1                              no answer\n"
                          "2.1     power                    true\n"
                          "13.1                             no answer\n"
                          "7.12    focus_ai_light_switch    code -4003\n");
}

TEST_F(properties, with_quotes_in_a_text_come_back_as_they_stand)
{
    camera_start(camera);

    camera_ask(camera, { "prop", "set", "focus_area_name", R"(the "blue" door)", "5.4", R"(8 "sharp")" });

    EXPECT_EQ(reported("5.4"), R"("8 \"sharp\"")");
    EXPECT_EQ(camera_value(camera, "mem", "focus_area_name"), R"(the "blue" door)");
    EXPECT_EQ(camera_do(camera, { "prop", "get", "focus_area_name" }).out, "the \"blue\" door\n");
    EXPECT_EQ(camera_do(camera, { "prop", "get", "10.1", "2.1" }).out,
              "10.1    focus_area_name          \"the \\\"blue\\\" door\" (not JSON)\n"
              "2.1     power                    true\n");
}

class pulled : public properties {};

TEST_F(pulled, values_that_the_cloud_kept_come_to_the_camera)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "keep", "5.1", "true", "5.2", "45", "5.3", "0", "5.4", "06:30:00", "5.5",
                         "22:00:00", "2.8", "true" });
    EXPECT_EQ(camera_value(camera, "nvram", "motion_detection_enable"), "off");

    camera_ask(camera, { "prop", "pull" });

    EXPECT_EQ(reported("5.1"), "true");
    EXPECT_EQ(reported("2.8"), "true");
    EXPECT_EQ(camera_value(camera, "nvram", "motion_detection_enable"), "on");
    EXPECT_EQ(camera_value(camera, "nvram", "motion_alarm_interval"), "45");
    EXPECT_EQ(camera_value(camera, "nvram", "motion_region"), region_off);
    EXPECT_EQ(camera_value(camera, "mem", "detection_start"), "06:30:00");
    EXPECT_EQ(camera_value(camera, "mem", "detection_end"), "22:00:00");
    EXPECT_EQ(camera_value(camera, "mem", "track_switch"), "on");
    EXPECT_EQ(camera_value(camera, "mem", "flag_pull_spec_properties"), "no");
}

TEST_F(pulled, values_that_the_cloud_does_not_have_stay_as_they_are)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "keep", "5.2", "45" });

    camera_ask(camera, { "prop", "pull" });

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=pulled", "count=1", "unknown=5" }));
    EXPECT_EQ(reported("5.2"), "45");
    EXPECT_EQ(camera_value(camera, "nvram", "motion_detection_enable"), "off");
}

TEST_F(pulled, with_the_id_of_the_cloud_s_last_request)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "keep", "5.2", "45" });
    camera_ask(camera, { "prop", "get", "power" });
    const std::string id = json_get_text(camera_sees(camera, { "who=cloud", "what=read" }).get(), "id");

    camera_ask(camera, { "prop", "pull" });

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=pulled", "id=" + id }));
    EXPECT_EQ(reported("5.2"), "45");
}

TEST_F(pulled, with_the_id_0_of_a_message_that_had_none)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "keep", "5.2", "45" });
    EXPECT_EQ(camera_do(camera, { "net", "internet_failed" }).status, 0);

    camera_ask(camera, { "prop", "pull" });

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=pulled", "id=0" }));
    EXPECT_EQ(reported("5.2"), "45");
}

TEST_F(pulled, values_that_a_camera_lost_when_it_was_off_come_back)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "set", "5.4", "08:00:00" });
    EXPECT_EQ(reported("5.4"), "\"08:00:00\"");
    camera_stop(camera);
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "store", "get", "mem", "detection_start" }).status, 1);

    camera_ask(camera, { "prop", "pull" });

    EXPECT_EQ(reported("5.4"), "\"08:00:00\"");
    EXPECT_EQ(camera_value(camera, "mem", "detection_start"), "08:00:00");
    EXPECT_EQ(read_back("5.4"), "\"08:00:00\"");
}

TEST_F(pulled, values_are_forgotten_with_a_fresh_camera)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "keep", "5.2", "45" });
    camera_stop(camera);
    camera_start(camera, { "--fresh" });

    camera_ask(camera, { "prop", "pull" });

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=pulled", "count=0" }));
    EXPECT_EQ(camera_value(camera, "nvram", "motion_alarm_interval"), "5");
}

class checked : public properties {};

TEST_F(checked, properties_of_a_camera_at_rest_are_reported_as_they_are_read)
{
    camera_start(camera);
    camera_ask(camera, { "prop", "set", "2.8", "true", "5.4", "08:00:00", "5.5", "20:00:00" });
    EXPECT_EQ(camera_do(camera, { "store", "set", "mem", "sdcard_status", "0" }).status, 0);

    texts same;
    for (const json_ptr &row : rows({ "prop", "check" })) {
        if (json_get_text(row.get(), "verdict") == "same")
            same.push_back(json_get_text(row.get(), "property"));
        else
            EXPECT_NE(json_get_text(row.get(), "reason"), "") << json_text(row.get());
    }

    EXPECT_EQ(same, (texts{ "2.1", "2.2", "2.3", "2.5", "2.6", "2.7", "2.8", "2.9", "3.1", "4.1", "5.1",
                            "5.2", "5.3", "5.4", "5.5", "7.1", "7.2", "7.3" }));
}

TEST_F(checked, difference_by_design_is_told_with_its_reason)
{
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "store", "set", "nvram", "night_mode", "5" }).status, 0);
    EXPECT_EQ(camera_do(camera, { "card", "in" }).status, 0);

    const command_result result = camera_do(camera, { "prop", "check" });

    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_NE(result.out.find("by design   a value other than 0, 1 and 2 is reported as 0"),
              std::string::npos)
        << result.out;
    for (const char *line :
         { "4.2     sd_total                 by design", "4.3     sd_free                  by design",
           "4.1     sdcard_status            same" })
        EXPECT_NE(result.out.find(line), std::string::npos) << result.out;
}

TEST_F(checked, property_that_is_not_reported_as_it_should_be_is_a_failure)
{
    camera_start(camera);
    // The daemon takes no notice of a number where a text belongs.
    EXPECT_EQ(camera_do(camera, { "store", "set", "--number", "nvram", "night_mode", "1" }).status, 0);

    const command_result result = camera_do(camera, { "prop", "check" });

    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("2.3     night_mode               differs     its value was written again"),
              std::string::npos)
        << result.out;
}
