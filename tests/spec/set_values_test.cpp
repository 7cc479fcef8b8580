// SPDX-License-Identifier: MIT
// What setting each property does: with a value that fits, and with one that does not.
#include "spec_desk.h"

struct set_row {
    const char *story;
    int siid, piid;
    const char *value; // as JSON; NULL: the element has none
    std::string call;  // "": nothing is done, and without a word
};

// clang-format off
static const set_row sets[] = {
    { "vendor",                   1, 1,  R"("x")",     "" },
    { "model",                    1, 2,  R"("x")",     "" },
    { "device_id",                1, 3,  R"("x")",     "" },
    { "version",                  1, 4,  R"("x")",     "" },
    { "power_on",                 2, 1,  "true",       R"(method set_power "on")" },
    { "power_off",                2, 1,  "false",      R"(method set_power "off")" },
    { "power_1",                  2, 1,  "1",          R"(method set_power "off")" },
    { "power_text",               2, 1,  R"("on")",    R"(method set_power "off")" },
    { "power_without",            2, 1,  nullptr,      R"(method set_power "off")" },
    { "power_null",               2, 1,  "null",       R"(method set_power "off")" },
    { "flip_180",                 2, 2,  "180",        R"(method set_flip "on")" },
    { "flip_0",                   2, 2,  "0",          R"(method set_flip "off")" },
    { "flip_90",                  2, 2,  "90",         R"(method set_flip "off")" },
    { "flip_text",                2, 2,  R"("180")",   R"(method set_flip "off")" },
    { "flip_true",                2, 2,  "true",       R"(method set_flip "off")" },
    { "night_0",                  2, 3,  "0",          "method set_night_mode 2" },
    { "night_1",                  2, 3,  "1",          "method set_night_mode 1" },
    { "night_2",                  2, 3,  "2",          "method set_night_mode 0" },
    { "night_77",                 2, 3,  "77",         "method set_night_mode 77" },
    { "night_below_zero",         2, 3,  "-2147483648", "method set_night_mode -2147483648" },
    { "night_text",               2, 3,  R"("0")",     "method set_night_mode 2" },
    { "piid_4",                   2, 4,  "1",          "" },
    { "wdr_on",                   2, 5,  "true",       R"(method set_wdr "on")" },
    { "wdr_off",                  2, 5,  "false",      R"(method set_wdr "off")" },
    { "wdr_number",               2, 5,  "1",          R"(method set_wdr "off")" },
    { "full_color_on",            2, 6,  "true",       R"(method set_full_color "on")" },
    { "full_color_off",           2, 6,  "false",      R"(method set_full_color "off")" },
    { "full_color_number",        2, 6,  "1",          R"(method set_full_color "off")" },
    { "record_0",                 2, 7,  "0",          R"(method set_motion_record "off")" },
    { "record_1",                 2, 7,  "1",          R"(method set_motion_record "on")" },
    { "record_2",                 2, 7,  "2",          R"(method set_motion_record "stop")" },
    { "record_5",                 2, 7,  "5",          R"(method set_motion_record "")" },
    { "record_3",                 2, 7,  "3",          R"(method set_motion_record "")" },
    { "record_below_zero",        2, 7,  "-1",         R"(method set_motion_record "")" },
    { "record_text",              2, 7,  R"("1")",     R"(method set_motion_record "off")" },
    { "track_on",                 2, 8,  "true",       mem_set("track_switch", "on") },
    { "track_off",                2, 8,  "false",      mem_set("track_switch", "off") },
    { "track_number",             2, 8,  "1",          mem_set("track_switch", "off") },
    { "watermark_on",             2, 9,  "true",       R"(method set_watermark "on")" },
    { "watermark_off",            2, 9,  "false",      R"(method set_watermark "off")" },
    { "watermark_text",           2, 9,  R"("true")",  R"(method set_watermark "off")" },
    { "light_on",                 3, 1,  "true",       R"(method set_light "on")" },
    { "light_off",                3, 1,  "false",      R"(method set_light "off")" },
    { "light_text",               3, 1,  R"("true")",  R"(method set_light "off")" },
    { "light_piid_2",             3, 2,  "true",       "" },
    { "card_status",              4, 1,  "1",          "" },
    { "card_total",               4, 2,  "1",          "" },
    { "card_free",                4, 3,  "1",          "" },
    { "card_used",                4, 4,  "1",          "" },
    { "detection_on",             5, 1,  "true",       nvram_set("motion_detection_enable", "on") },
    { "detection_off",            5, 1,  "false",      nvram_set("motion_detection_enable", "off") },
    { "detection_text",           5, 1,  R"("on")",    nvram_set("motion_detection_enable", "off") },
    { "interval",                 5, 2,  "30",         nvram_set("motion_alarm_interval", "30") },
    { "interval_below_zero",      5, 2,  "-5",         nvram_set("motion_alarm_interval", "-5") },
    { "interval_smallest",        5, 2,  "-2147483648", nvram_set("motion_alarm_interval", "-2147483648") },
    { "interval_text",            5, 2,  R"("30")",    nvram_set("motion_alarm_interval", "0") },
    { "interval_fraction",        5, 2,  "3.5",        nvram_set("motion_alarm_interval", "0") },
    { "region_1",                 5, 3,  "1",          nvram_set("motion_region", region_on) },
    { "region_below_zero",        5, 3,  "-1",         nvram_set("motion_region", region_on) },
    { "region_0",                 5, 3,  "0",          nvram_set("motion_region", region_off) },
    { "region_true",              5, 3,  "true",       nvram_set("motion_region", region_off) },
    { "start",                    5, 4,  R"("08:30")", mem_set("detection_start", "08:30") },
    { "start_number",             5, 4,  "8",          mem_set("detection_start", "") },
    { "end",                      5, 5,  R"("20:00")", mem_set("detection_end", "20:00") },
    { "end_without",              5, 5,  nullptr,      mem_set("detection_end", "") },
    { "piid_6",                   5, 6,  "1",          "" },
    { "human_on",                 7, 1,  "true",       nvram_set("human_detection_enable", "on") },
    { "human_off",                7, 1,  "false",      nvram_set("human_detection_enable", "off") },
    { "human_text",               7, 1,  R"("true")",  nvram_set("human_detection_enable", "off") },
    { "human_as_service_9",       9, 1,  "true",       nvram_set("human_detection_enable", "on") },
    { "motion_report_on",         7, 2,  "true",       nvram_set("report_motion_detection_switch", "on") },
    { "motion_report_off",        7, 2,  "false",      nvram_set("report_motion_detection_switch", "off") },
    { "motion_report_number",     7, 2,  "1",          nvram_set("report_motion_detection_switch", "off") },
    { "loud_on",                  7, 3,  "true",       nvram_set("loud_detection_enable", "on") },
    { "loud_off",                 7, 3,  "false",      nvram_set("loud_detection_enable", "off") },
    { "loud_null",                7, 3,  "null",       nvram_set("loud_detection_enable", "off") },
    { "service_9_piid_4",         9, 4,  "true",       "" },
    { "ai_light",                 7, 12, "true",       "" },
    { "ai_light_as_service_9",    9, 12, "true",       "" },
    { "area_name",                10, 1, R"("sofa")",  mem_set("focus_area_name", "sofa") },
    { "area_name_number",         10, 1, "5",          mem_set("focus_area_name", "") },
    { "area_region",              10, 2, R"("[1,2]")", mem_set("focus_area_region", "[1,2]") },
    { "area_region_array",        10, 2, "[1,2]",      mem_set("focus_area_region", "") },
    { "focus_time",               10, 3, R"("t")",     mem_set_unlimited("focus_time", "t") },
    { "focus_time_object",        10, 3, "{}",         mem_set_unlimited("focus_time", "") },
    { "clockin",                  10, 4, R"("x")",     "" },
    { "service_10_piid_5",        10, 5, "1",          "" },
    { "in_time",                  10, 6, "12",         mem_set("focus_area_in_time", "12") },
    { "in_time_of_4_digits",      10, 6, "1234",       mem_set("focus_area_in_time", "123") },
    { "in_time_below_zero",       10, 6, "-5",         mem_set("focus_area_in_time", "-5") },
    { "in_time_far_below_zero",   10, 6, "-1234",      mem_set("focus_area_in_time", "-12") },
    { "in_time_text",             10, 6, R"("12")",    mem_set("focus_area_in_time", "0") },
    { "service_10_piid_7",        10, 7, "1",          "" },
    { "out_time",                 10, 8, "999",        mem_set("focus_area_out_time", "999") },
    { "out_time_of_4_digits",     10, 8, "1000",       mem_set("focus_area_out_time", "100") },
    { "out_time_text",            10, 8, R"("12")",    mem_set("focus_area_out_time", "0") },
    { "scene",                    10, 9, R"("s")",     mem_set("focus_scene", "s") },
    { "scene_true",               10, 9, "true",       mem_set("focus_scene", "") },
    { "quick_reply",              10, 10, R"("q")",    mem_set_unlimited("focus_quick_reply", "q") },
    { "quick_reply_number",       10, 10, "1",         mem_set_unlimited("focus_quick_reply", "") },
    { "human_in_area",            10, 11, "true",      "" },
    { "collect_time",             10, 12, "20",        mem_set("focus_collect_time", "20") },
    { "collect_time_of_4_digits", 10, 12, "1500",      mem_set("focus_collect_time", "150") },
    { "collect_time_text",        10, 12, R"("20")",   mem_set("focus_collect_time", "20") },
    { "collect_time_long_text",   10, 12, R"("2000s")", mem_set("focus_collect_time", "200") },
    { "collect_time_word",        10, 12, R"("soon")", mem_set("focus_collect_time", "0") },
    { "collect_time_true",        10, 12, "true",      mem_set("focus_collect_time", "0") },
    { "service_10_piid_13",       10, 13, "1",         "" },
    { "sound_name",               11, 1, R"("cry")",   nvram_set("sound_alarm_name", "cry") },
    { "sound_name_number",        11, 1, "1",          nvram_set("sound_alarm_name", "") },
    { "sound_type",               11, 2, R"("baby")",  nvram_set("sound_alarm_type", "baby") },
    { "sound_type_number",        11, 2, "1",          nvram_set("sound_alarm_type", "") },
    { "sound_on",                 11, 3, "true",       nvram_set("sound_alarm_enable", "on") },
    { "sound_off",                11, 3, "false",      nvram_set("sound_alarm_enable", "off") },
    { "sound_text",               11, 3, R"("on")",    nvram_set("sound_alarm_enable", "off") },
    { "sound_piid_4",             11, 4, "true",       "" },
    { "service_0",                0, 1,  "true",       "" },
    { "service_6",                6, 1,  "true",       "" },
    { "service_8",                8, 1,  "true",       "" },
    { "service_12",               12, 1, "true",       "" },
    { "service_13",               13, 1, "true",       "" },
    { "service_below_zero",       -7, 1, "true",       "" },
};
// clang-format on

struct set_value : spec_desk, testing::WithParamInterface<set_row> {};

// "method NAME PARAMETER" stands for the call of that method, which is logged.
static texts meant(const std::string &call)
{
    if (call.empty())
        return {};
    if (!call.starts_with("method "))
        return { call };
    size_t blank = call.find(' ', 7);
    const std::string text = method_text(call.substr(7, blank - 7), call.substr(blank + 1));
    return { rpc_line(text), dispatched(text) };
}

TEST_P(set_value, is_acknowledged_and_then_applied_without_another_word)
{
    const set_row &row = GetParam();
    set(element(row.siid, row.piid, row.value ? row.value : ""));
    const std::string ack = reply(entry_set(row.siid, row.piid));
    texts expected = { ack_line(ack), to_cloud(ack) };
    if (row.siid == 11)
        expected.emplace_back("err: OZU_SOUND_ALARM_SIID\n");
    for (const std::string &each : meant(row.call))
        expected.push_back(each);
    EXPECT_EQ(story(), expected);
}

INSTANTIATE_TEST_SUITE_P(rows, set_value, testing::ValuesIn(sets),
                         [](const auto &row) { return row.param.story; });

struct sound_alarm : spec_desk, testing::WithParamInterface<int> {};

TEST_P(sound_alarm, logs_its_service_for_every_property_before_it_is_set)
{
    set(element(11, GetParam(), "true"));
    texts lines = log_lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines.back(), "err: OZU_SOUND_ALARM_SIID\n");
    EXPECT_EQ(calls_of("libselvar_set_value").size(), GetParam() >= 1 && GetParam() <= 3 ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(piids, sound_alarm, testing::Values(0, 1, 2, 3, 4, 99, -1));

struct text_target {
    const char *name;
    int siid, piid;
    bool in_nvram;
};

// A text of the request: 999 characters reach the row, and the store client cuts what is not unlimited.
struct set_text : spec_desk, testing::WithParamInterface<text_target> {
    std::string stored() const
    {
        std::string key = std::string(GetParam().in_nvram ? "nvram/" : "mem/") + GetParam().name;
        return store.values.contains(key) ? store.values[key] : "(none)";
    }

    static bool is_unlimited()
    {
        return GetParam().name == std::string("focus_time") ||
               GetParam().name == std::string("focus_quick_reply");
    }
};

TEST_P(set_text, is_taken_out_of_its_json_form)
{
    set(element(GetParam().siid, GetParam().piid,
                R"("say \"hi\" \\ a\/b \u00e4)"
                "\xc3\x28"
                R"(")"));
    EXPECT_EQ(stored(), "say \"hi\" \\ a/b \xc3\xa4\xc3\x28");
}

TEST_P(set_text, ends_at_a_nul)
{
    set(element(GetParam().siid, GetParam().piid, R"("ab\u0000cd")"));
    EXPECT_EQ(stored(), "ab");
}

TEST_P(set_text, is_cut)
{
    set(element(GetParam().siid, GetParam().piid, '"' + std::string(2000, 'x') + '"'));
    EXPECT_EQ(stored(), std::string(is_unlimited() ? 999 : 127, 'x'));
}

TEST_P(set_text, leaves_nothing_of_a_longer_one_before_it)
{
    set(element(GetParam().siid, GetParam().piid, R"("longer")") + "," +
        element(GetParam().siid, GetParam().piid, R"("ab")"));
    EXPECT_EQ(stored(), "ab");
    set(element(GetParam().siid, GetParam().piid, R"("longer")") + "," +
        element(GetParam().siid, GetParam().piid, "5"));
    EXPECT_EQ(stored(), "");
}

INSTANTIATE_TEST_SUITE_P(properties, set_text,
                         testing::Values(text_target{ "detection_start", 5, 4, false },
                                         text_target{ "detection_end", 5, 5, false },
                                         text_target{ "focus_area_name", 10, 1, false },
                                         text_target{ "focus_area_region", 10, 2, false },
                                         text_target{ "focus_time", 10, 3, false },
                                         text_target{ "focus_scene", 10, 9, false },
                                         text_target{ "focus_quick_reply", 10, 10, false },
                                         text_target{ "sound_alarm_name", 11, 1, true },
                                         text_target{ "sound_alarm_type", 11, 2, true }),
                         [](const auto &row) { return row.param.name; });
