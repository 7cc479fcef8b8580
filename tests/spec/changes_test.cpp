// SPDX-License-Identifier: MIT
// What a change of each store key reports to the cloud.
#include "spec_desk.h"

#include "fakes/failing.h"
#include "fakes/memory.h"

struct change_row {
    const char *story;
    const char *key;
    const char *value;
    int siid, piid;
    const char *reported; // as JSON; "": nothing is sent
};

// clang-format off
static const change_row changes[] = {
    { "power_on",              "power",                          "on",       2, 1,   "true" },
    { "power_off",             "power",                          "off",      2, 1,   "false" },
    { "power_capitals",        "power",                          "ON",       2, 1,   "false" },
    { "flip_on",               "flip",                           "on",       2, 2,   "180" },
    { "flip_off",              "flip",                           "off",      2, 2,   "0" },
    { "flip_180",              "flip",                           "180",      2, 2,   "0" },
    { "night_0",               "night_mode",                     "0",        2, 3,   "2" },
    { "night_1",               "night_mode",                     "1",        2, 3,   "1" },
    { "night_2",               "night_mode",                     "2",        2, 3,   "0" },
    { "night_3",               "night_mode",                     "3",        2, 3,   "0" },
    { "night_empty",           "night_mode",                     "",         2, 3,   "0" },
    { "watermark_on",          "watermark",                      "on",       2, 9,   "true" },
    { "watermark_off",         "watermark",                      "",         2, 9,   "false" },
    { "wdr_on",                "wdr",                            "on",       2, 5,   "true" },
    { "wdr_off",               "wdr",                            "off",      2, 5,   "false" },
    { "full_color_on",         "full_color",                     "on",       2, 6,   "true" },
    { "full_color_off",        "full_color",                     "off",      2, 6,   "false" },
    { "record_off",            "motion_record",                  "off",      2, 7,   "0" },
    { "record_on",             "motion_record",                  "on",       2, 7,   "1" },
    { "record_stop",           "motion_record",                  "stop",     2, 7,   "2" },
    { "record_other",          "motion_record",                  "pause",    2, 7,   "" },
    { "record_empty",          "motion_record",                  "",         2, 7,   "" },
    { "track_on",              "track_switch",                   "on",       2, 8,   "true" },
    { "track_off",             "track_switch",                   "1",        2, 8,   "false" },
    { "light_on",              "light",                          "on",       3, 1,   "true" },
    { "light_off",             "light",                          "off",      3, 1,   "false" },
    { "card_status",           "sdcard_status",                  "3",        4, 1,   "3" },
    { "card_status_word",      "sdcard_status",                  "gone",     4, 1,   "0" },
    { "detection_on",          "motion_detection_enable",        "on",       5, 1,   "true" },
    { "detection_off",         "motion_detection_enable",        "off",      5, 1,   "false" },
    { "interval",              "motion_alarm_interval",          "30",       5, 2,   "30" },
    { "interval_leading",      "motion_alarm_interval",          "-7min",    5, 2,   "-7" },
    { "interval_word",         "motion_alarm_interval",          "often",    5, 2,   "0" },
    { "region_on",             "motion_region",                  "[1,3]",    5, 3,   "1" },
    { "region_off",            "motion_region",                  "[1,1]",    5, 3,   "0" },
    { "region_empty",          "motion_region",                  "",         5, 3,   "0" },
    { "start",                 "detection_start",                "08:00:00", 5, 4,   R"("08:00:00")" },
    { "end",                   "detection_end",                  "",         5, 5,   R"("")" },
    { "human_on",              "human_detection_enable",         "on",       7, 1,   "true" },
    { "human_off",             "human_detection_enable",         "off",      7, 1,   "false" },
    { "motion_report_on",      "report_motion_detection_switch", "on",       7, 2,   "true" },
    { "motion_report_off",     "report_motion_detection_switch", "x",        7, 2,   "false" },
    { "loud_on",               "loud_detection_enable",          "on",       7, 3,   "true" },
    { "loud_off",              "loud_detection_enable",          "off",      7, 3,   "false" },
    { "ai_light_on",           "focus_ai_light_switch",          "on",       7, 12,  "true" },
    { "ai_light_off",          "focus_ai_light_switch",          "off",      7, 12,  "false" },
    { "area_name",             "focus_area_name",                "sofa",     10, 1,  R"("sofa")" },
    { "area_region",           "focus_area_region",              "[1]",      10, 2,  R"("[1]")" },
    { "focus_time",            "focus_time",                     "{}",       10, 3,  R"("{}")" },
    { "clockin",               "focus_clockin",                  R"({"a":[1]})", 10, 4, R"({"a":[1]})" },
    { "clockin_no_json",       "focus_clockin",                  "{\"a\"",   10, 4,  "{\"a\"" },
    { "in_time",               "focus_area_in_time",             "12",       10, 6,  "12" },
    { "in_time_word",          "focus_area_in_time",             "x",        10, 6,  "0" },
    { "out_time",              "focus_area_out_time",            "21",       10, 8,  "21" },
    { "scene",                 "focus_scene",                    R"({"repeat":1})", 10, 9, "" },
    { "scene_word",            "focus_scene",                    "repeat",   10, 9,  "" },
    { "human_in_area",         "human_in_area_state",            "in",       0, 0,   "true" },
    { "human_out_of_area",     "human_in_area_state",            "out",      0, 0,   "false" },
    { "human_in_area_on",      "human_in_area_state",            "on",       0, 0,   "false" },
    { "collect_time",          "focus_collect_time",             "60",       10, 12, "60" },
    { "sound_name",            "sound_alarm_name",               "cry",      11, 1,  R"("cry")" },
    { "sound_type",            "sound_alarm_type",               "baby",     11, 2,  R"("baby")" },
    { "sound_on",              "sound_alarm_enable",             "on",       11, 3,  "true" },
    { "sound_off",             "sound_alarm_enable",             "off",      11, 3,  "false" },
};
// clang-format on

struct changed_key : spec_desk, testing::WithParamInterface<change_row> {};

TEST_P(changed_key, is_reported_in_one_piece_with_its_log_line_first)
{
    const change_row &row = GetParam();
    nubo_spec_handle_properties_changed(7, row.key, row.value);
    std::string text = report(row.siid, row.piid, row.reported);
    EXPECT_EQ(story(), row.reported[0]
                           ? texts({ "debug: [nubo spec]properties changed <ack> " + text, to_cloud(text) })
                           : texts{});
}

INSTANTIATE_TEST_SUITE_P(rows, changed_key, testing::ValuesIn(changes),
                         [](const auto &row) { return row.param.story; });

struct change : spec_desk {
    static texts reported(const char *key, const std::string &value)
    {
        sends_reset();
        nubo_spec_handle_properties_changed(7, key, value.c_str());
        return sent_texts();
    }
};

TEST_F(change, is_reported_to_the_letter)
{
    nubo_spec_handle_properties_changed(-12, "human_detection_enable", "on");
    EXPECT_EQ(sent_texts(),
              texts{ R"({"id" : -12,"method" : "properties_changed","params" : [{"did" : "1234567",)"
                     R"("siid" : 7,"piid" : 1,"value" : true}]})" });
    EXPECT_EQ(sends().front().flags, 0);
}

TEST_F(change, without_a_socket_is_logged_and_not_sent)
{
    for (int sock : { 0, -1 }) {
        nubo_spec_init("1234567", sock, nullptr);
        record_clear();
        nubo_spec_handle_properties_changed(7, "light", "on");
        EXPECT_EQ(story(), texts{ "debug: [nubo spec]properties changed <ack> " + report(3, 1, "true") });
    }
}

struct unknown_key : spec_desk, testing::WithParamInterface<const char *> {};

TEST_P(unknown_key, is_logged_and_not_reported)
{
    nubo_spec_handle_properties_changed(7, GetParam(), "on");
    EXPECT_EQ(story(), texts{ "err: [nubo_spec_handle_properties_changed][1262]unknown key : " +
                              std::string(GetParam()) });
}

// The last ones are keys of properties whose changes are not reported.
INSTANTIATE_TEST_SUITE_P(keys, unknown_key,
                         testing::Values("motor", "", "powe", "powers", "%s%n", "time_night", "vendor",
                                         "model", "focus_quick_reply"));

TEST_F(change, without_a_key_or_a_value_is_logged)
{
    nubo_spec_handle_properties_changed(7, nullptr, "on");
    nubo_spec_handle_properties_changed(7, "light", nullptr);
    nubo_spec_handle_properties_changed(7, nullptr, nullptr);
    const std::string line = "err: [nubo_spec_handle_properties_changed][1015]key or value is NULL!";
    EXPECT_EQ(story(), (texts{ line, line, line }));
}

struct raw_report : change, testing::WithParamInterface<const char *> {};

TEST_P(raw_report, has_the_text_in_quotes_and_unescaped)
{
    std::string hard = "say \"hi\" \\ a/b \xc3\x28 \xff\n%s%n";
    texts sent = reported(GetParam(), hard);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_TRUE(sent[0].ends_with("\"value\" : \"" + hard + "\"}]}")) << sent[0];
}

INSTANTIATE_TEST_SUITE_P(keys, raw_report,
                         testing::Values("detection_start", "detection_end", "focus_area_name",
                                         "sound_alarm_name", "sound_alarm_type"));

struct json_string_report : change, testing::WithParamInterface<const char *> {};

TEST_P(json_string_report, has_the_text_escaped_with_its_slashes)
{
    texts sent = reported(GetParam(), "say \"hi\" \\ a/b \xc3\x28 \xff\n%s%n");
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_TRUE(sent[0].ends_with("\"value\" : \"say \\\"hi\\\" \\\\ a\\/b \xc3\x28 \xff\\n%s%n\"}]}"))
        << sent[0];
}

TEST_P(json_string_report, is_not_sent_when_memory_runs_out)
{
    for (int nth : { 1, 2, 3 }) {
        record_clear();
        allocation_fails(nth);
        EXPECT_EQ(reported(GetParam(), "text"), texts{}) << nth;
        EXPECT_TRUE(allocation_failed()) << nth;
        EXPECT_EQ(log_lines().size(), 1U) << nth;
        EXPECT_TRUE(log_mentions("out of memory")) << nth;
    }
}

INSTANTIATE_TEST_SUITE_P(keys, json_string_report, testing::Values("focus_area_region", "focus_time"));

TEST_F(change, of_a_long_text_is_reported_whole)
{
    std::string name(5000, 'n');
    EXPECT_EQ(reported("focus_area_name", name), texts{ report(10, 1, '"' + name + '"') });
    EXPECT_EQ(reported("focus_clockin", name), texts{ report(10, 4, name) });
}

TEST_F(change, of_a_card_that_goes_from_4_to_0_is_passed_over_once)
{
    EXPECT_EQ(reported("sdcard_status", "4"), texts{ report(4, 1, "4") });
    EXPECT_EQ(reported("sdcard_status", "0"), texts{});
    EXPECT_EQ(last_card_status, 0);
    EXPECT_EQ(reported("sdcard_status", "0"), texts{ report(4, 1, "0") });
    EXPECT_EQ(reported("sdcard_status", "4"), texts{ report(4, 1, "4") });
    EXPECT_EQ(reported("sdcard_status", "4"), texts{ report(4, 1, "4") });
    EXPECT_EQ(last_card_status, 4);
}

TEST_F(change, of_a_card_from_4_to_a_word_counts_as_0)
{
    reported("sdcard_status", "4 (full)");
    EXPECT_EQ(reported("sdcard_status", "none"), texts{});
}

TEST_F(change, of_a_card_from_4_over_another_state_is_reported)
{
    EXPECT_EQ(last_card_status, -1);
    EXPECT_EQ(reported("sdcard_status", "0"), texts{ report(4, 1, "0") });
    reported("sdcard_status", "4");
    reported("sdcard_status", "1");
    EXPECT_EQ(reported("sdcard_status", "0"), texts{ report(4, 1, "0") });
}

struct card_figure {
    const char *key;
    int piid;
    const char *pipe;
    const char *file;
};

struct card_change : change, testing::WithParamInterface<card_figure> {
    static texts with_file(const std::string &content)
    {
        fixed_files.content[GetParam().file] = content;
        return reported(GetParam().key, "12345");
    }

    static texts figure(const char *number)
    {
        return { report(4, GetParam().piid, number) };
    }
};

TEST_P(card_change, reports_what_the_pipelines_leave_and_not_the_value)
{
    with_file("7629824\n");
    EXPECT_EQ(calls(),
              (texts{ "system(\"df /mnt/sdcard > /tmp/sdcardinfo\")",
                      std::string("system(\"") + GetParam().pipe + "\")",
                      std::string("open(") + GetParam().file + ")", to_cloud(figure("7629824").front()) }));
}

TEST_P(card_change, converts_the_leading_number_of_the_first_twenty_bytes)
{
    EXPECT_EQ(with_file("1K-blocks\n7629824\n"), figure("1"));
    EXPECT_EQ(with_file("Available\n7629824\n"), figure("0"));
    EXPECT_EQ(with_file("                 42"), figure("42"));
    EXPECT_EQ(with_file("                 421234"), figure("421"));
    EXPECT_EQ(with_file(""), figure("0"));
}

TEST_P(card_change, reports_0_without_the_file)
{
    EXPECT_EQ(reported(GetParam().key, "12345"), figure("0"));
}

TEST_P(card_change, reports_what_lies_there_although_the_commands_fail)
{
    for (int status : { -1, 256, 127 << 8 }) {
        record_clear();
        libc.system_result = status;
        EXPECT_EQ(with_file("7629824\n"), figure("7629824")) << status;
        EXPECT_EQ(calls_of("system"), (texts{ "system(\"df /mnt/sdcard > /tmp/sdcardinfo\")",
                                              std::string("system(\"") + GetParam().pipe + "\")" }));
    }
}

TEST_P(card_change, leaves_no_descriptor_behind)
{
    int before = open_descriptors();
    with_file("1");
    EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(
    keys, card_change,
    testing::Values(
        card_figure{ "sd_total", 2, "awk '{print $2}' /tmp/sdcardinfo > /tmp/sdtotal", "/tmp/sdtotal" },
        card_figure{ "sd_free", 3, "awk '{print $4}' /tmp/sdcardinfo > /tmp/sdfree", "/tmp/sdfree" },
        card_figure{ "sd_used", 4, "awk '{print $3}' /tmp/sdcardinfo > /tmp/sdused", "/tmp/sdused" }),
    [](const auto &row) { return row.param.key; });

static const texts six_defaults = {
    mem_set("track_switch", "off"),          nvram_set("motion_detection_enable", "off"),
    nvram_set("motion_alarm_interval", "5"), nvram_set("motion_region", region_on),
    mem_set("detection_start", "00:00:00"),  mem_set("detection_end", "23:59:59")
};

TEST_F(change, of_the_defaults_flag_to_start_writes_the_six_defaults_and_then_end)
{
    nubo_spec_handle_properties_changed(7, "flag_set_default_spec", "start");
    texts expected = six_defaults;
    expected.push_back(nvram_set("flag_set_default_spec", "end"));
    EXPECT_EQ(story(), expected);
}

TEST_F(change, of_the_defaults_flag_goes_to_its_end_whichever_write_fails)
{
    texts expected = six_defaults;
    expected.push_back(nvram_set("flag_set_default_spec", "end"));
    for (int nth = 1; nth <= std::ssize(expected); nth++) {
        record_clear();
        call_fails(nth);
        nubo_spec_handle_properties_changed(7, "flag_set_default_spec", "start");
        EXPECT_TRUE(call_failed()) << nth;
        EXPECT_EQ(calls(), expected) << nth;
    }
    record_clear();
    store.set_result = false;
    nubo_spec_handle_properties_changed(7, "flag_set_default_spec", "start");
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(change, of_a_flag_to_anything_else_does_nothing)
{
    for (const char *value : { "end", "stop", "", "START", "yes" })
        nubo_spec_handle_properties_changed(7, "flag_set_default_spec", value);
    for (const char *value : { "no", "", "YES", "start", "yes " })
        nubo_spec_handle_properties_changed(7, "flag_pull_spec_properties", value);
    EXPECT_EQ(story(), texts{});
}

TEST_F(change, of_the_pull_flag_to_yes_sends_the_pull_and_then_writes_no)
{
    nubo_spec_handle_properties_changed(17, "flag_pull_spec_properties", "yes");
    ASSERT_EQ(calls().size(), 3U);
    EXPECT_EQ(calls()[0], store_read("nvram", "did"));
    EXPECT_TRUE(calls()[1].starts_with("send("));
    EXPECT_EQ(calls()[2], mem_set("flag_pull_spec_properties", "no"));
    EXPECT_EQ(g_get_spec_id, 17);
}

TEST_F(change, of_the_pull_flag_goes_to_its_end_whichever_call_fails)
{
    for (int nth = 1; nth <= 3; nth++) { // the device id, the pull, the flag
        record_clear();
        g_get_spec_id = -1;
        call_fails(nth);
        nubo_spec_handle_properties_changed(17, "flag_pull_spec_properties", "yes");
        EXPECT_TRUE(call_failed()) << nth;
        ASSERT_EQ(calls().size(), 3U) << nth;
        EXPECT_TRUE(calls()[1].starts_with("send(")) << nth;
        EXPECT_EQ(calls()[2], mem_set("flag_pull_spec_properties", "no")) << nth;
        EXPECT_EQ(g_get_spec_id, 17) << nth;
    }
}

TEST_F(change, of_the_pull_flag_without_a_socket_is_taken_back_all_the_same)
{
    nubo_spec_init("1234567", 0, nullptr);
    nubo_spec_handle_properties_changed(17, "flag_pull_spec_properties", "yes");
    EXPECT_EQ(calls(), (texts{ store_read("nvram", "did"), mem_set("flag_pull_spec_properties", "no") }));
}

TEST_F(change, in_the_defaults_gives_the_result_of_the_last_write)
{
    EXPECT_EQ(set_default_param_to_spec_service(), 0);
    EXPECT_EQ(calls(), six_defaults);
    store.set_result = false;
    EXPECT_EQ(set_default_param_to_spec_service(), -1);
}

TEST_F(change, of_an_action_does_nothing)
{
    nubo_spec_handle_action(7, R"({"id":7})", 8);
    EXPECT_EQ(story(), texts{});
}
