// SPDX-License-Identifier: MIT
// What each property answers to "get_properties": present, absent, and holding what it should not.
#include "spec_desk.h"

#include "fakes/memory.h"

struct field_row {
    const char *story;
    int siid, piid;
    void (*given)(spec_snapshot &now);
    const char *value;
};

// clang-format off
static const field_row fields[] = {
    { "power_on",           2, 1, [](spec_snapshot &now) { now.power = 1; },          "true" },
    { "power_off",          2, 1, [](spec_snapshot &) {},                             "false" },
    { "power_at_2",         2, 1, [](spec_snapshot &now) { now.power = 2; },          "true" },
    { "flip_on",            2, 2, [](spec_snapshot &now) { now.flip = 1; },           "180" },
    { "flip_off",           2, 2, [](spec_snapshot &) {},                             "0" },
    { "flip_at_255",        2, 2, [](spec_snapshot &now) { now.flip = 255; },         "180" },
    { "night_0",            2, 3, [](spec_snapshot &) {},                             "2" },
    { "night_1",            2, 3, [](spec_snapshot &now) { now.night = 1; },          "1" },
    { "night_2",            2, 3, [](spec_snapshot &now) { now.night = 2; },          "0" },
    { "night_5",            2, 3, [](spec_snapshot &now) { now.night = 5; },          "5" },
    { "night_below_zero",   2, 3, [](spec_snapshot &now) { now.night = -1; },         "-1" },
    { "wdr_on",             2, 5, [](spec_snapshot &now) { now.wdr = 1; },            "true" },
    { "wdr_off",            2, 5, [](spec_snapshot &) {},                             "false" },
    { "full_color_on",      2, 6, [](spec_snapshot &now) { now.color = 1; },          "true" },
    { "full_color_off",     2, 6, [](spec_snapshot &) {},                             "false" },
    { "motion_record_0",    2, 7, [](spec_snapshot &) {},                             "0" },
    { "motion_record_2",    2, 7, [](spec_snapshot &now) { now.motion_record = 2; },  "2" },
    { "motion_record_odd",  2, 7, [](spec_snapshot &now) { now.motion_record = -9; }, "-9" },
    { "track_switch_on",    2, 8, [](spec_snapshot &now) { now.track_switch = 1; },   "true" },
    { "track_switch_off",   2, 8, [](spec_snapshot &) {},                             "false" },
    { "watermark_on",       2, 9, [](spec_snapshot &now) { now.watermark = 1; },      "true" },
    { "watermark_off",      2, 9, [](spec_snapshot &) {},                             "false" },
    { "light_on",           3, 1, [](spec_snapshot &now) { now.light = 1; },          "true" },
    { "light_off",          3, 1, [](spec_snapshot &) {},                             "false" },
    { "card_status",        4, 1, [](spec_snapshot &now) { now.card_status = 3; },    "3" },
    { "card_status_odd",    4, 1, [](spec_snapshot &now) { now.card_status = -2147483647 - 1; }, "-2147483648" },
};
// clang-format on

struct field_of_kit : spec_desk, testing::WithParamInterface<field_row> {};

TEST_P(field_of_kit, is_answered_from_the_snapshot_and_not_from_the_store)
{
    const field_row &row = GetParam();
    store.values = { { "nvram/power", "off" }, { "mem/track_switch", "on" }, { "nvram/night_mode", "1" } };
    row.given(snapshot);
    get(element(row.siid, row.piid));
    EXPECT_EQ(calls(), texts{ to_cloud(reply(entry_value(row.siid, row.piid, row.value))) });
}

INSTANTIATE_TEST_SUITE_P(rows, field_of_kit, testing::ValuesIn(fields),
                         [](const auto &row) { return row.param.story; });

struct stored_row {
    const char *story;
    int siid, piid;
    const char *space;
    const char *key;
    const char *stored; // NULL: the key has no value
    const char *value;  // as JSON; "": the entry is empty
};

// clang-format off
static const stored_row stored_values[] = {
    { "vendor",                     1,  1, "nvram", "vendor",                         "kestrano",    R"("kestrano")" },
    { "vendor_absent",              1,  1, "nvram", "vendor",                         nullptr,       "" },
    { "vendor_empty",               1,  1, "nvram", "vendor",                         "",            R"("")" },
    { "model",                      1,  2, "nvram", "model",                          "kivo1",       R"("kivo1")" },
    { "model_absent",               1,  2, "nvram", "model",                          nullptr,       "" },
    { "detection_on",               5,  1, "nvram", "motion_detection_enable",        "on",          "true" },
    { "detection_off",              5,  1, "nvram", "motion_detection_enable",        "off",         "false" },
    { "detection_capitals",         5,  1, "nvram", "motion_detection_enable",        "ON",          "false" },
    { "detection_longer",           5,  1, "nvram", "motion_detection_enable",        "on ",         "false" },
    { "detection_absent",           5,  1, "nvram", "motion_detection_enable",        nullptr,       "false" },
    { "interval",                   5,  2, "nvram", "motion_alarm_interval",          "30",          "30" },
    { "interval_absent",            5,  2, "nvram", "motion_alarm_interval",          nullptr,       "5" },
    { "interval_empty",             5,  2, "nvram", "motion_alarm_interval",          "",            "0" },
    { "interval_no_number",         5,  2, "nvram", "motion_alarm_interval",          "often",       "0" },
    { "interval_leading_number",    5,  2, "nvram", "motion_alarm_interval",          " -7min",      "-7" },
    { "region_on",                  5,  3, "nvram", "motion_region",                  "[1,3,1]",     "1" },
    { "region_off",                 5,  3, "nvram", "motion_region",                  "[1,1,1]",     "0" },
    { "region_absent",              5,  3, "nvram", "motion_region",                  nullptr,       "1" },
    { "region_empty",               5,  3, "nvram", "motion_region",                  "",            "0" },
    { "start",                      5,  4, "mem",   "detection_start",                "08:30:00",    R"("08:30:00")" },
    { "start_absent",               5,  4, "mem",   "detection_start",                nullptr,       R"("00:00:00")" },
    { "end",                        5,  5, "mem",   "detection_end",                  "20:00:00",    R"("20:00:00")" },
    { "end_absent",                 5,  5, "mem",   "detection_end",                  nullptr,       R"("23:59:59")" },
    { "human_on",                   7,  1, "nvram", "human_detection_enable",         "on",          "true" },
    { "human_off",                  7,  1, "nvram", "human_detection_enable",         "yes",         "false" },
    { "human_absent",               7,  1, "nvram", "human_detection_enable",         nullptr,       "false" },
    { "human_as_service_9",         9,  1, "nvram", "human_detection_enable",         "on",          "true" },
    { "motion_report_on",           7,  2, "nvram", "report_motion_detection_switch", "on",          "true" },
    { "motion_report_off",          7,  2, "nvram", "report_motion_detection_switch", "off",         "false" },
    { "motion_report_absent",       7,  2, "nvram", "report_motion_detection_switch", nullptr,       "false" },
    { "loud_on",                    7,  3, "nvram", "loud_detection_enable",          "on",          "true" },
    { "loud_off",                   7,  3, "nvram", "loud_detection_enable",          "1",           "false" },
    { "loud_absent",                7,  3, "nvram", "loud_detection_enable",          nullptr,       "false" },
    { "area_name",                  10, 1, "mem",   "focus_area_name",                "sofa",        R"("sofa")" },
    { "area_name_absent",           10, 1, "mem",   "focus_area_name",                nullptr,       R"("")" },
    { "area_region",                10, 2, "mem",   "focus_area_region",              "[0,1]",       R"("[0,1]")" },
    { "area_region_absent",         10, 2, "mem",   "focus_area_region",              nullptr,       "{}" },
    { "area_region_empty",          10, 2, "mem",   "focus_area_region",              "",            R"("")" },
    { "area_region_braces",         10, 2, "mem",   "focus_area_region",              "{}",          R"("{}")" },
    { "focus_time",                 10, 3, "mem",   "focus_time",                     R"({"a":1})",  R"("{\"a\":1}")" },
    { "focus_time_absent",          10, 3, "mem",   "focus_time",                     nullptr,       "" },
    { "in_time",                    10, 6, "mem",   "focus_area_in_time",             "12",          "12" },
    { "in_time_absent",             10, 6, "mem",   "focus_area_in_time",             nullptr,       "0" },
    { "out_time",                   10, 8, "mem",   "focus_area_out_time",            "21",          "21" },
    { "out_time_absent",            10, 8, "mem",   "focus_area_out_time",            nullptr,       "0" },
    { "scene",                      10, 9, "mem",   "focus_scene",                    "reading",     R"("reading")" },
    { "scene_absent",               10, 9, "mem",   "focus_scene",                    nullptr,       "" },
    { "human_in_area",              10, 11, "mem",  "human_in_area_state",            "in",          "true" },
    { "human_out_of_area",          10, 11, "mem",  "human_in_area_state",            "out",         "false" },
    { "human_in_area_on",           10, 11, "mem",  "human_in_area_state",            "on",          "false" },
    { "human_in_area_absent",       10, 11, "mem",  "human_in_area_state",            nullptr,       "false" },
    { "collect_time",               10, 12, "mem",  "focus_collect_time",             "60",          "60" },
    { "collect_time_absent",        10, 12, "mem",  "focus_collect_time",             nullptr,       "15" },
    { "sound_name",                 11, 1, "nvram", "sound_alarm_name",               "cry",         R"("cry")" },
    { "sound_name_absent",          11, 1, "nvram", "sound_alarm_name",               nullptr,       R"(" ")" },
    { "sound_type",                 11, 2, "nvram", "sound_alarm_type",               "baby",        R"("baby")" },
    { "sound_type_absent",          11, 2, "nvram", "sound_alarm_type",               nullptr,       R"(" ")" },
    { "sound_on",                   11, 3, "nvram", "sound_alarm_enable",             "on",          "true" },
    { "sound_off",                  11, 3, "nvram", "sound_alarm_enable",             "off",         "false" },
    { "sound_absent",               11, 3, "nvram", "sound_alarm_enable",             nullptr,       "false" },
};
// clang-format on

struct value_in_store : spec_desk, testing::WithParamInterface<stored_row> {};

TEST_P(value_in_store, is_read_once_at_the_moment_it_is_asked_for)
{
    const stored_row &row = GetParam();
    if (row.stored)
        store.values[std::string(row.space) + "/" + row.key] = row.stored;
    get(element(row.siid, row.piid));
    std::string answer = row.value[0] ? entry_value(row.siid, row.piid, row.value) : "";
    EXPECT_EQ(calls(), (texts{ store_read(row.space, row.key), to_cloud(reply(answer)) }));
}

TEST_P(value_in_store, is_not_kept_for_the_next_request)
{
    const stored_row &row = GetParam();
    get(element(row.siid, row.piid));
    get(element(row.siid, row.piid));
    EXPECT_EQ(calls_of("libselvar_config_get").size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(rows, value_in_store, testing::ValuesIn(stored_values),
                         [](const auto &row) { return row.param.story; });

// A text goes in as it stands; what is made a JSON string is escaped.
struct raw_text : spec_desk, testing::WithParamInterface<std::pair<const char *, std::pair<int, int>>> {
    void stored(const std::string &text)
    {
        store.values[GetParam().first] = text;
        get(element(GetParam().second.first, GetParam().second.second));
    }

    static std::string answered(const std::string &value)
    {
        return reply(entry_value(GetParam().second.first, GetParam().second.second, value));
    }
};

static const std::string hard_to_quote = "say \"hi\" \\ a/b \xc3\x28 \xff\n\t\x01";
static const std::string hard_to_quote_escaped = "\"say \\\"hi\\\" \\\\ a\\/b \xc3\x28 \xff\\n\\t\\u0001\"";

TEST_P(raw_text, goes_in_unescaped)
{
    stored(hard_to_quote);
    EXPECT_EQ(sent_texts(), texts{ answered('"' + hard_to_quote + '"') });
}

TEST_P(raw_text, is_never_a_format)
{
    stored("%s%n%d");
    EXPECT_EQ(sent_texts(), texts{ answered("\"%s%n%d\"") });
}

INSTANTIATE_TEST_SUITE_P(properties, raw_text,
                         testing::Values(std::pair{ "nvram/vendor", std::pair{ 1, 1 } },
                                         std::pair{ "nvram/model", std::pair{ 1, 2 } },
                                         std::pair{ "mem/detection_start", std::pair{ 5, 4 } },
                                         std::pair{ "mem/detection_end", std::pair{ 5, 5 } },
                                         std::pair{ "mem/focus_area_name", std::pair{ 10, 1 } },
                                         std::pair{ "nvram/sound_alarm_name", std::pair{ 11, 1 } },
                                         std::pair{ "nvram/sound_alarm_type", std::pair{ 11, 2 } }));

struct json_string_text : raw_text {};

TEST_P(json_string_text, goes_in_escaped_with_slashes_and_bytes_beyond_ascii_kept)
{
    stored(hard_to_quote);
    EXPECT_EQ(sent_texts(), texts{ answered(hard_to_quote_escaped) });
}

TEST_P(json_string_text, leaves_its_entry_empty_when_memory_runs_out)
{
    store.values[GetParam().first] = "text";
    allocation_fails(2); // the reply's own comes first
    get(element(GetParam().second.first, GetParam().second.second));
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(sent_texts(), texts{ reply("") });
    EXPECT_TRUE(log_mentions("out of memory"));
}

INSTANTIATE_TEST_SUITE_P(properties, json_string_text,
                         testing::Values(std::pair{ "mem/focus_area_region", std::pair{ 10, 2 } },
                                         std::pair{ "mem/focus_time", std::pair{ 10, 3 } },
                                         std::pair{ "mem/focus_scene", std::pair{ 10, 9 } }));

struct device_id : spec_desk {};

TEST_F(device_id, is_the_services_own)
{
    get(R"({"did":"somebody","siid":1,"piid":3})");
    EXPECT_EQ(calls(), texts{ to_cloud(reply(entry_value(1, 3, R"("1234567")"))) });
}

TEST_F(device_id, of_twenty_characters_and_more_is_cut_to_twenty)
{
    nubo_spec_init("12345678901234567890ABCDEF", kit.otd_sock, dispatch_recorded);
    get(element(1, 3));
    EXPECT_EQ(sent_texts(),
              texts{ R"({"id" : 7,"result" : [{"did" : "12345678901234567890","siid" : 1,"piid" : 3,)"
                     R"("value" : "12345678901234567890","code" : 0}]})" });
}

struct release_row {
    const char *story;
    std::string release;
    std::string version; // without quotes
    bool empty = false;  // the entry is
};

struct version : spec_desk, testing::WithParamInterface<release_row> {};

TEST_P(version, is_what_stands_between_the_two_markers)
{
    fixed_files.content["/etc/os-release"] = GetParam().release;
    get(element(1, 4));
    std::string answer = GetParam().empty ? "" : entry_value(1, 4, '"' + GetParam().version + '"');
    EXPECT_EQ(calls(), (texts{ "open(/etc/os-release)", to_cloud(reply(answer)) }));
}

static const release_row releases[] = {
    { "with_its_line_end", "NAME=x\nKESTRANO_VERSION=1.2.3_0042\nKESTRANO_BUILDNO=7\n", "1.2.3_0042\n" },
    { "in_one_line", "KESTRANO_VERSION=9 KESTRANO_BUILDNO=7", "9 " },
    { "empty", "KESTRANO_VERSION=KESTRANO_BUILDNO=7", "" },
    { "the_first_of_each", "KESTRANO_VERSION=1\nKESTRANO_BUILDNO=7\nKESTRANO_VERSION=2\nKESTRANO_BUILDNO=8\n",
      "1\n" },
    { "cut_to_39_characters", "KESTRANO_VERSION=" + std::string(50, 'v') + "KESTRANO_BUILDNO",
      std::string(39, 'v') },
    { "no_version", "KESTRANO_BUILDNO=7\n", "", true },
    { "no_build", "KESTRANO_VERSION=1\n", "", true },
    { "build_first", "KESTRANO_BUILDNO=7\nKESTRANO_VERSION=1\n", "", true },
    { "nothing", "", "", true },
    { "just_within_1000_bytes", std::string(966, '#') + "KESTRANO_VERSION=1KESTRANO_BUILDNO", "1" },
    { "not_within_1000_bytes", std::string(967, '#') + "KESTRANO_VERSION=1KESTRANO_BUILDNO", "", true },
};

INSTANTIATE_TEST_SUITE_P(of_release, version, testing::ValuesIn(releases),
                         [](const auto &row) { return row.param.story; });

struct version_file : spec_desk {};

TEST_F(version_file, that_is_not_there_cannot_be_read)
{
    get(element(1, 4));
    EXPECT_EQ(sent_texts(), texts{ reply(entry(1, 4, R"("code" : -4004)")) });
}

TEST_F(version_file, is_opened_anew_for_each_entry_and_closed)
{
    fixed_files.content["/etc/os-release"] = "KESTRANO_VERSION=1KESTRANO_BUILDNO";
    int before = open_descriptors();
    get(element(1, 4) + "," + element(1, 4) + "," + element(1, 4));
    EXPECT_EQ(calls_of("open").size(), 3U);
    EXPECT_EQ(open_descriptors(), before);
}

struct card_row {
    const char *story;
    unsigned long blocks, free_blocks, block_size;
    const char *total, *free, *used;
};

struct card : spec_desk, testing::WithParamInterface<card_row> {};

TEST_P(card, shows_its_size_in_32_bits)
{
    struct statfs status = {};
    status.f_blocks = GetParam().blocks;
    status.f_bavail = GetParam().free_blocks;
    status.f_bsize = static_cast<decltype(status.f_bsize)>(GetParam().block_size);
    fixed_files.card = status;
    get(element(4, 2) + "," + element(4, 3) + "," + element(4, 4));
    EXPECT_EQ(calls(), (texts{ "statfs(/mnt/sdcard)", "statfs(/mnt/sdcard)", "statfs(/mnt/sdcard)",
                               to_cloud(reply(entry_value(4, 2, GetParam().total) + "," +
                                              entry_value(4, 3, GetParam().free) + "," +
                                              entry_value(4, 4, GetParam().used))) }));
}

static const card_row cards[] = {
    { "of_32_GB", 7629824, 1907456, 4096, "30519296", "7626752", "22892544" },
    { "of_small_blocks", 2047, 1023, 512, "512", "0", "512" },
    { "whose_total_does_not_fit", 1UL << 30, 1UL << 10, 4096, "0", "4096", "-4096" },
    { "that_shows_below_zero", 3UL << 20, 0, 1UL << 20, "-1073741824", "0", "-1073741824" },
};

INSTANTIATE_TEST_SUITE_P(sizes, card, testing::ValuesIn(cards),
                         [](const auto &row) { return row.param.story; });

struct no_card : spec_desk {};

TEST_F(no_card, shows_zeros_and_logs_each)
{
    get(element(4, 2) + "," + element(4, 3) + "," + element(4, 4));
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(4, 2, "0") + "," + entry_value(4, 3, "0") + "," +
                                         entry_value(4, 4, "0")) });
    EXPECT_EQ(log_lines(),
              (texts{ "err: [nubo_spec]get sdcard status error", "err: [nubo_spec]get sdcard status error",
                      "err: [nubo_spec]get sdcard status error",
                      "debug: [nubo_spec]<ack> " + sent_texts().front() }));
}
