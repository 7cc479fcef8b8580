// SPDX-License-Identifier: MIT
// What a change of each setting does to the state.
#include "core/notify.h"

#include "fakes/daemon_desk.h"

struct setting_row {
    const char *story;
    const char *key;
    const char *value;
    void (*given)();
    int (*state)();
    int expected;
    texts log;
};

static void nothing() {}

template <auto kit_state::*field> static int in_kit()
{
    return static_cast<int>(kit.*field);
}

template <auto kit_state::*field> static void set_to_9()
{
    kit.*field = 9;
}

static const setting_row settings[] = {
    { "an_update_starts",
      "dev_status",
      "ota",
      nothing,
      in_kit<&kit_state::ota>,
      1,
      { "debug: kit.ota: 1\n" } },
    { "an_update_ends",
      "dev_status",
      "normal",
      set_to_9<&kit_state::ota>,
      in_kit<&kit_state::ota>,
      0,
      { "debug: kit.ota: 0\n" } },
    { "ota_is_the_whole_word",
      "dev_status",
      "otas",
      nothing,
      in_kit<&kit_state::ota>,
      0,
      { "debug: kit.ota: 0\n" } },
    { "light_off", "light", "off", nothing, in_kit<&kit_state::light>, 0, { "debug: kit.light: 0\n" } },
    { "light_on",
      "light",
      "on",
      set_to_9<&kit_state::light>,
      in_kit<&kit_state::light>,
      1,
      { "debug: kit.light: 1\n" } },
    { "light_anything_else",
      "light",
      "",
      set_to_9<&kit_state::light>,
      in_kit<&kit_state::light>,
      1,
      { "debug: kit.light: 1\n" } },
    { "motion_detection_on",
      "motion_detection_enable",
      "on",
      set_to_9<&kit_state::motion_enable>,
      in_kit<&kit_state::motion_enable>,
      1,
      { "debug: kit.motion_enable: 1\n" } },
    { "motion_detection_off",
      "motion_detection_enable",
      "off",
      nothing,
      in_kit<&kit_state::motion_enable>,
      0,
      { "debug: kit.motion_enable: 0\n" } },
    { "motion_detection_ON",
      "motion_detection_enable",
      "ON",
      nothing,
      in_kit<&kit_state::motion_enable>,
      0,
      { "debug: kit.motion_enable: 0\n" } },
    { "full_color_on",
      "full_color",
      "on",
      set_to_9<&kit_state::color>,
      in_kit<&kit_state::color>,
      1,
      { "debug: kit.color: 1\n" } },
    { "full_color_off",
      "full_color",
      "off",
      nothing,
      in_kit<&kit_state::color>,
      0,
      { "debug: kit.color: 0\n" } },
    { "watermark_on",
      "watermark",
      "on",
      set_to_9<&kit_state::watermark>,
      in_kit<&kit_state::watermark>,
      1,
      { "debug: kit.watermark: 1\n" } },
    { "watermark_off",
      "watermark",
      "off",
      nothing,
      in_kit<&kit_state::watermark>,
      0,
      { "debug: kit.watermark: 0\n" } },
    { "record_on",
      "motion_record",
      "on",
      nothing,
      in_kit<&kit_state::motion_record>,
      1,
      { "debug: kit.motion_record: 1\n" } },
    { "record_stop",
      "motion_record",
      "stop",
      nothing,
      in_kit<&kit_state::motion_record>,
      2,
      { "debug: kit.motion_record: 2\n" } },
    { "record_off",
      "motion_record",
      "off",
      set_to_9<&kit_state::motion_record>,
      in_kit<&kit_state::motion_record>,
      0,
      { "debug: kit.motion_record: 0\n" } },
    { "record_anything_else",
      "motion_record",
      "x",
      set_to_9<&kit_state::motion_record>,
      in_kit<&kit_state::motion_record>,
      0,
      { "debug: kit.motion_record: 0\n" } },
    { "flip_on", "flip", "on", nothing, in_kit<&kit_state::flip>, 1, { "debug: kit.flip: 1\n" } },
    { "flip_off",
      "flip",
      "off",
      set_to_9<&kit_state::flip>,
      in_kit<&kit_state::flip>,
      0,
      { "debug: kit.flip: 0\n" } },
    { "wdr_on", "wdr", "on", nothing, in_kit<&kit_state::wdr>, 1, { "debug: kit.wdr: 1\n" } },
    { "wdr_off",
      "wdr",
      "off",
      set_to_9<&kit_state::wdr>,
      in_kit<&kit_state::wdr>,
      0,
      { "debug: kit.wdr: 0\n" } },
    { "night_mode", "night_mode", "2", nothing, in_kit<&kit_state::night>, 2, { "debug: kit.night: 2\n" } },
    { "night_mode_text",
      "night_mode",
      "auto",
      set_to_9<&kit_state::night>,
      in_kit<&kit_state::night>,
      0,
      { "debug: kit.night: 0\n" } },
    { "card",
      "sdcard_status",
      "-3",
      nothing,
      in_kit<&kit_state::card_status>,
      -3,
      { "debug: kit.card_status: -3\n" } },
    { "max_client_1",
      "max_client",
      "1",
      nothing,
      in_kit<&kit_state::max_client>,
      1,
      { "debug: kit.max_client: 1\n" } },
    { "max_client_2",
      "max_client",
      "2",
      set_to_9<&kit_state::max_client>,
      in_kit<&kit_state::max_client>,
      0,
      { "debug: kit.max_client: 0\n" } },
    { "max_client_01",
      "max_client",
      "01",
      set_to_9<&kit_state::max_client>,
      in_kit<&kit_state::max_client>,
      0,
      { "debug: kit.max_client: 0\n" } },
    { "improve_program_on", "improve_program", "on", nothing, in_kit<&kit_state::improve_program>, 1, {} },
    { "improve_program_off",
      "improve_program",
      "off",
      set_to_9<&kit_state::improve_program>,
      in_kit<&kit_state::improve_program>,
      0,
      {} },
    { "lsd_switch",
      "lsd_switch",
      "1",
      nothing,
      [] { return int{ lsd_switch }; },
      1,
      { "info: >>>>>>lsd_switch=1\n" } },
    { "lsd_push",
      "lsd_push",
      "7x",
      nothing,
      [] { return int{ lsd_push }; },
      7,
      { "info: >>>>>>lsd_push=7\n" } },
    { "lsd_sensity",
      "lsd_sensity",
      "-2",
      nothing,
      [] { return int{ lsd_sensity }; },
      -2,
      { "info: >>>>>>lsd_sensity=-2\n" } },
    { "motor_reset_taken_up",
      "motor_reset",
      "1",
      nothing,
      [] { return int{ motor_reset_flag }; },
      0,
      { "debug: motor_reset_flag: 0\n" } },
    { "motor_reset_asked_for",
      "motor_reset",
      "0",
      [] { motor_reset_flag = 0; },
      [] { return int{ motor_reset_flag }; },
      1,
      { "debug: motor_reset_flag: 1\n" } },
};

struct changed_setting : store_open_desk, testing::WithParamInterface<setting_row> {
    // Without what the spec service says of the key.
    static texts lines_of_the_row()
    {
        texts lines;
        for (const std::string &line : log_lines())
            if (line.find("[nubo") == std::string::npos)
                lines.push_back(line);
        return lines;
    }
};

TEST_P(changed_setting, reaches_the_state_with_its_line)
{
    GetParam().given();
    selvar_notify_handler(GetParam().key, GetParam().value);
    EXPECT_EQ(GetParam().state(), GetParam().expected);
    EXPECT_EQ(lines_of_the_row(), GetParam().log);
}

TEST_P(changed_setting, moves_no_hardware)
{
    selvar_notify_handler(GetParam().key, GetParam().value);
    EXPECT_EQ(calls_of("torvu_led_control"), texts{});
    EXPECT_EQ(calls_of("torvu_motor_control"), texts{});
}

INSTANTIATE_TEST_SUITE_P(rows, changed_setting, testing::ValuesIn(settings),
                         [](const auto &row) { return row.param.story; });

struct settings_desk : store_open_desk {};

TEST_F(settings_desk, the_alarm_configuration_is_kept_to_31_characters)
{
    selvar_notify_handler("motion_alarm", "[1,5,0,0,0,0,5,9,9,9,9,9,9,9,9,9,9]");
    EXPECT_STREQ(motion_alarm_cfg, "[1,5,0,0,0,0,5,9,9,9,9,9,9,9,9,");
    EXPECT_TRUE(logged("debug: motion_alarm: [1,5,0,0,0,0,5,9,9,9,9,9,9,9,9,\n"));
}

TEST_F(settings_desk, a_short_alarm_configuration_replaces_a_long_one)
{
    selvar_notify_handler("motion_alarm", "[1,5,0,0,0,0,5]");
    selvar_notify_handler("motion_alarm", "[1]");
    EXPECT_STREQ(motion_alarm_cfg, "[1]");
}

TEST_F(settings_desk, the_region_is_kept_to_79_characters)
{
    std::string region(100, '3');
    selvar_notify_handler("motion_region", region.c_str());
    EXPECT_EQ(motion_region_cfg, region.substr(0, 79));
    EXPECT_TRUE(logged("debug: motion_region: " + region.substr(0, 79) + "\n"));
}

TEST_F(settings_desk, a_language_of_up_to_six_characters_is_taken)
{
    selvar_notify_handler("language", "zh_CNX");
    EXPECT_STREQ(language, "zh_CNX");
    EXPECT_TRUE(logged("debug: language: zh_CNX\n"));
    EXPECT_FALSE(log_mentions("too long"));
}

TEST_F(settings_desk, a_language_of_seven_characters_is_refused_and_the_old_one_shown)
{
    selvar_notify_handler("language", "en");
    record_clear();
    selvar_notify_handler("language", "english");
    EXPECT_STREQ(language, "en");
    EXPECT_TRUE(in_order({ "err: language msg is too long: 7!\n", "debug: language: en\n" }));
}

TEST_F(settings_desk, an_empty_language_is_taken)
{
    selvar_notify_handler("language", "en");
    selvar_notify_handler("language", "");
    EXPECT_STREQ(language, "");
}

TEST_F(settings_desk, the_detection_period_begins)
{
    selvar_notify_handler("detection_start", "08:30:15");
    EXPECT_EQ(kit.start_hour, 8);
    EXPECT_EQ(kit.start_min, 30);
    EXPECT_EQ(kit.start_sec, 15);
    EXPECT_TRUE(
        in_order({ "debug: kit.start_hour:8\n", "debug: kit.start_min:30\n", "debug: kit.start_sec:15\n" }));
}

TEST_F(settings_desk, the_detection_period_ends)
{
    selvar_notify_handler("detection_end", "23:59:58");
    EXPECT_EQ(kit.end_hour, 23);
    EXPECT_EQ(kit.end_min, 59);
    EXPECT_EQ(kit.end_sec, 58);
    EXPECT_TRUE(
        in_order({ "debug: kit.end_hour:23\n", "debug: kit.end_min:59\n", "debug: kit.end_sec:58\n" }));
}

TEST_F(settings_desk, what_was_read_of_a_period_before_a_mismatch_counts)
{
    selvar_notify_handler("detection_start", "08:30:15");
    selvar_notify_handler("detection_start", "9:x");
    EXPECT_EQ(kit.start_hour, 9);
    EXPECT_EQ(kit.start_min, 30);
    EXPECT_EQ(kit.start_sec, 15);
}

TEST_F(settings_desk, what_was_read_of_a_periods_end_before_a_mismatch_counts)
{
    selvar_notify_handler("detection_end", "23:59:58");
    record_clear();
    selvar_notify_handler("detection_end", "21:x:7");
    EXPECT_EQ(kit.end_hour, 21);
    EXPECT_EQ(kit.end_min, 59);
    EXPECT_EQ(kit.end_sec, 58);
    EXPECT_TRUE(
        in_order({ "debug: kit.end_hour:21\n", "debug: kit.end_min:59\n", "debug: kit.end_sec:58\n" }));
}

TEST_F(settings_desk, a_value_is_never_a_format)
{
    selvar_notify_handler("motion_alarm", "%s%n%d");
    EXPECT_TRUE(logged("debug: motion_alarm: %s%n%d\n"));
}
