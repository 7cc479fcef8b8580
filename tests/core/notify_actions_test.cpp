// SPDX-License-Identifier: MIT
// Keys that do more than set a flag: LEDs, power, binding, the device id, the night counter; and null.
#include "core/dispatcher.h"
#include "core/notify.h"
#include "module_in_table.h"
#include "spec/service.h"

#include "fakes/daemon_desk.h"

struct actions : daemon_desk {
    actions() : daemon_desk(selvar_notify_handler) {}

    // As the store client delivers it, so that the type of the value is known.
    static void delivers(const char *space, const xresponse &value)
    {
        selvar_nvram_register_notify(space, value.key.c_str());
        record_clear();
        store_notify(space, value);
        selvar_nvram_response();
    }
};

static const texts light_on = { led_priority(1), led(1, 50, 1, 0, 0, 1), led(0, 50, 0, 0, 0, 1) };
static const texts light_off = { led(1, 0, 1, 0, 0, 2), led(0, 0, 1, 0, 0, 2) };

static texts led_calls()
{
    texts all;
    for (const std::string &call : calls())
        if (call.starts_with("torvu_led_"))
            all.push_back(call);
    return all;
}

TEST_F(actions, a_led_command_goes_to_the_leds_at_priority_2)
{
    selvar_notify_handler("led_cmd", "[1,50,2,500,300]");
    EXPECT_EQ(led_calls(), texts{ led(1, 50, 2, 500, 300, 2) });
}

TEST_F(actions, a_led_command_may_lack_its_closing_bracket)
{
    selvar_notify_handler("led_cmd", "[0,0,0,0,0");
    EXPECT_EQ(led_calls(), texts{ led(0, 0, 0, 0, 0, 2) });
}

struct bad_led_command {
    const char *name;
    const char *value;
    const char *shown;
};

struct refused_led_command : actions, testing::WithParamInterface<bad_led_command> {};

TEST_P(refused_led_command, leaves_the_leds_alone_and_shows_all_five)
{
    selvar_notify_handler("led_cmd", GetParam().value);
    EXPECT_EQ(led_calls(), texts{});
    EXPECT_TRUE(logged("err: led msg error, " + std::string(GetParam().shown)));
}

INSTANTIATE_TEST_SUITE_P(
    values, refused_led_command,
    testing::Values(bad_led_command{ "negative_last", "[1,50,2,500,-1]", "[1,50,2,500,-1]" },
                    bad_led_command{ "negative_first", "[-5,50,2,500,1]", "[-5,50,2,500,1]" },
                    bad_led_command{ "too_short", "[1,50,2]", "[1,50,2,-1,-1]" },
                    bad_led_command{ "no_list", "on", "[-1,-1,-1,-1,-1]" },
                    bad_led_command{ "empty", "", "[-1,-1,-1,-1,-1]" }),
    [](const auto &row) { return row.param.name; });

TEST_F(actions, power_off_clears_the_flag_and_turns_both_leds_off)
{
    selvar_notify_handler("power", "off");
    EXPECT_EQ(kit.power, 0);
    EXPECT_EQ(led_calls(), light_off);
    EXPECT_TRUE(logged("debug: device power status is off!\n"));
    EXPECT_FALSE(log_mentions("set light"));
    EXPECT_TRUE(logged("debug: kit.power: 0\n"));
}

TEST_F(actions, power_on_shows_the_light)
{
    kit.power = 0;
    selvar_notify_handler("power", "on");
    EXPECT_EQ(kit.power, 1);
    EXPECT_EQ(led_calls(), light_on);
    EXPECT_TRUE(in_order({ "debug: set light on!\n", light_on[0], light_on[1], light_on[2] }));
    EXPECT_TRUE(logged("debug: kit.power: 1\n"));
}

TEST_F(actions, power_with_any_other_value_counts_as_on)
{
    kit.power = 0;
    selvar_notify_handler("power", "OFF");
    EXPECT_EQ(kit.power, 1);
    EXPECT_EQ(led_calls(), light_on);
}

TEST_F(actions, power_on_with_the_light_setting_off_turns_both_leds_off)
{
    kit.power = 0;
    kit.light = 0;
    selvar_notify_handler("power", "on");
    EXPECT_EQ(kit.power, 1);
    EXPECT_EQ(led_calls(), light_off);
    EXPECT_TRUE(logged("debug: set light off!\n"));
}

TEST_F(actions, a_removed_power_key_switches_on)
{
    kit.power = 0;
    selvar_notify_handler("power", nullptr);
    EXPECT_EQ(kit.power, 1);
    EXPECT_EQ(led_calls(), light_on);
    EXPECT_TRUE(in_order({ "warning: key: power, msg: null\n", "info: power default process\n", light_on[1],
                           "debug: kit.power: 1\n" }));
}

TEST_F(actions, a_good_binding_ends_the_waiting_and_watches_power)
{
    kit.bind_wait_time = 5;
    selvar_notify_handler("bind_status", "ok");
    EXPECT_EQ(kit.bind_wait_time, 0U);
    EXPECT_TRUE(store_is_watched("nvram", "power"));
    EXPECT_TRUE(logged("debug: bind_status is ok(ok)\n"));
}

TEST_F(actions, after_a_good_binding_power_off_turns_both_leds_off)
{
    selvar_notify_handler("bind_status", "ok");
    record_clear();
    store_notify_text("nvram", "power", "off");
    selvar_nvram_response();
    EXPECT_EQ(led_calls(), light_off);
}

TEST_F(actions, any_other_binding_begins_the_waiting)
{
    platform.monotonic_s = 4321;
    selvar_notify_handler("bind_status", "okay");
    EXPECT_EQ(kit.bind_wait_time, 4321U);
    EXPECT_FALSE(store_is_watched("nvram", "power"));
    EXPECT_TRUE(logged("debug: bind_status is not ok(okay)\n"));
}

TEST_F(actions, a_removed_binding_begins_the_waiting)
{
    platform.monotonic_s = 4321;
    selvar_notify_handler("bind_status", nullptr);
    EXPECT_EQ(kit.bind_wait_time, 4321U);
    EXPECT_TRUE(in_order({ "warning: key: bind_status, msg: null\n", "info: bind_status default process\n",
                           "debug: bind_status is NULL.\n" }));
}

TEST_F(actions, the_device_id_is_kept_and_given_to_the_spec_service)
{
    selvar_notify_handler("did", "1234567");
    EXPECT_STREQ(g_did, "1234567");
    EXPECT_TRUE(logged("debug: g_did = 1234567"));
    EXPECT_STREQ(spec_did, "1234567");
    EXPECT_EQ(spec_sock, kit.otd_sock);
    EXPECT_EQ(spec_rpc_dispatch, &msg_dispatcher);
}

TEST_F(actions, the_device_id_is_cut_to_31_characters)
{
    selvar_notify_handler("did", std::string(40, '7').c_str());
    EXPECT_EQ(g_did, std::string(31, '7'));
}

TEST_F(actions, a_new_night_stamp_counts_a_switch)
{
    delivers("mem", number_reply("time_night", 987001));
    int counted = kit.night_count;
    delivers("mem", number_reply("time_night", 987002));
    EXPECT_EQ(kit.night_count, counted + 1);
    EXPECT_TRUE(
        logged("debug: kit.night_count: " + std::to_string(kit.night_count) + "  time_night :987002\n"));
}

TEST_F(actions, the_same_night_stamp_again_counts_nothing)
{
    delivers("mem", number_reply("time_night", 987003));
    int counted = kit.night_count;
    delivers("mem", number_reply("time_night", 987003));
    EXPECT_EQ(kit.night_count, counted);
    EXPECT_TRUE(logged("debug: kit.night_count: " + std::to_string(counted) + "  time_night :987003\n"));
}

TEST_F(actions, night_stamps_that_differ_in_the_upper_half_are_different)
{
    delivers("mem", number_reply("time_night", 5));
    int counted = kit.night_count;
    delivers("mem", number_reply("time_night", 5 + 0x100000000ULL));
    EXPECT_EQ(kit.night_count, counted + 1);
}

TEST_F(actions, a_night_stamp_with_its_top_bit_set_is_shown_negative)
{
    delivers("mem", number_reply("time_night", 1));
    int counted = kit.night_count;
    delivers("mem", number_reply("time_night", 0x8000000000000001ULL));
    EXPECT_EQ(kit.night_count, counted + 1);
    EXPECT_TRUE(logged("debug: kit.night_count: " + std::to_string(counted + 1) +
                       "  time_night :-9223372036854775807\n"));
}

TEST_F(actions, a_null_key_is_an_error)
{
    selvar_notify_handler(nullptr, "value");
    EXPECT_EQ(story(), texts{ "err: key ptr is null\n" });
}

TEST_F(actions, a_key_without_a_row_is_unknown)
{
    selvar_notify_handler("nobody_knows", "value");
    EXPECT_TRUE(logged("warning: unknown key: nobody_knows, msg: value\n"));
}

static std::string bytes_of_kit()
{
    return std::string(reinterpret_cast<const char *>(&kit), sizeof(kit));
}

struct removed_key : actions, testing::WithParamInterface<const char *> {};

TEST_P(removed_key, ends_with_its_line)
{
    const std::string before = bytes_of_kit();
    selvar_notify_handler(GetParam(), nullptr);
    EXPECT_EQ(story(), texts{ "warning: key: " + std::string(GetParam()) + ", msg: null\n" });
    EXPECT_EQ(bytes_of_kit(), before);
}

INSTANTIATE_TEST_SUITE_P(keys, removed_key,
                         testing::Values("led_cmd", "motor_cmd", "dev_status", "sound_play", "light",
                                         "motor_reset", "motor_slide_screen", "motion_detection_enable",
                                         "full_color", "watermark", "motion_record", "flip", "wdr",
                                         "night_mode", "sdcard_status", "motion_alarm", "motion_region",
                                         "max_client", "language", "track", "track_switch", "detection_start",
                                         "detection_end", "time_night", "improve_program", "lsd_switch",
                                         "lsd_push", "lsd_sensity", "did", "nobody_knows"),
                         [](const auto &row) { return row.param; });
