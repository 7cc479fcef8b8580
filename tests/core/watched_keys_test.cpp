// SPDX-License-Identifier: MIT
// The keys that the daemon watches, their namespaces and their order.
#include "core/notify.h"
#include "module_in_table.h"

#include "fakes/daemon_desk.h"

static const texts watched = {
    "mem, default, led_cmd",
    "mem, default, motor_cmd",
    "mem, default, dev_status",
    "mem, default, track",
    "mem, default, motor_reset",
    "mem, default, motor_slide_screen",
    "mem, default, sound_play",
    "nvram, default, light",
    "nvram, default, motor",
    "nvram, default, motion_detection_enable",
    "nvram, default, full_color",
    "nvram, default, watermark",
    "nvram, default, flip",
    "nvram, default, wdr",
    "nvram, default, improve_program",
    "mem, default, sdcard_status",
    "nvram, default, motion_record",
    "nvram, default, night_mode",
    "nvram, default, motion_alarm",
    "nvram, default, motion_region",
    "nvram, default, max_client",
    "nvram, default, language",
    "nvram, default, bind_status",
    "mem, default, track_switch",
    "mem, default, detection_start",
    "mem, default, detection_end",
    "mem, default, time_night",
    "nvram, default, lsd_switch",
    "nvram, default, lsd_push",
    "nvram, default, lsd_sensity",
    "nvram, default, motion_alarm_interval",
    "nvram, default, sd_total",
    "nvram, default, sd_free",
    "nvram, default, sd_used",
    "nvram, default, did",
    "mem, default, flag_pull_spec_properties",
    "nvram, default, flag_set_default_spec",
    "nvram, default, human_detection_enable",
    "nvram, default, report_motion_detection_switch",
    "nvram, default, loud_detection_enable",
};

static texts registrations(const texts &keys)
{
    texts all;
    for (const std::string &key : keys)
        all.push_back("libselvar_register_notification(" + key + ", yes, yes, yes, 0, 0)");
    return all;
}

static texts unregistrations(const texts &keys, int id)
{
    texts all;
    for (const std::string &key : keys)
        all.push_back("libselvar_unregister_notification(" + key + ", " + std::to_string(id) +
                      ", none, none, 0, 0)");
    return all;
}

static texts joined(texts first, const texts &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct watched_keys_desk : store_open_desk {};

TEST_F(watched_keys_desk, are_registered_in_their_order_each_in_its_space)
{
    selvar_register_keys();
    EXPECT_EQ(calls_of("libselvar_register_notification"), registrations(watched));
}

TEST_F(watched_keys_desk, power_is_not_among_them)
{
    selvar_register_keys();
    EXPECT_FALSE(store_is_watched("nvram", "power"));
}

TEST_F(watched_keys_desk, are_unregistered_in_the_same_order_with_power_behind_them)
{
    selvar_register_keys();
    record_clear();
    int latest = store.next_notification_id - 1;
    selvar_unregister_keys();
    EXPECT_EQ(calls(), unregistrations(joined(watched, { "nvram, default, power" }), latest));
}

TEST_F(watched_keys_desk, one_that_cannot_be_registered_does_not_stop_the_others)
{
    store.register_result = false;
    selvar_register_keys();
    EXPECT_EQ(calls_of("libselvar_register_notification").size(), watched.size());
    EXPECT_TRUE(logged("err: send did notify cmd fail.\n"));
}

static const char *const mem_keys[] = { "lamp_now", "lamp_next" };
static const char *const nvram_keys[] = { "lamp_setting" };

static struct module lamp()
{
    struct module entry = module_with_methods("lamp", nullptr, 0);
    entry.mem_keys = mem_keys;
    entry.mem_key_count = 2;
    entry.nvram_keys = nvram_keys;
    entry.nvram_key_count = 1;
    return entry;
}

static const texts module_keys = { "mem, default, lamp_now", "mem, default, lamp_next",
                                   "nvram, default, lamp_setting" };

TEST_F(watched_keys_desk, the_keys_of_a_module_follow)
{
    module_in_table entered(lamp());
    selvar_register_keys();
    EXPECT_EQ(calls_of("libselvar_register_notification"), registrations(joined(watched, module_keys)));
}

TEST_F(watched_keys_desk, the_keys_of_a_module_are_unregistered_behind_power)
{
    module_in_table entered(lamp());
    selvar_register_keys();
    record_clear();
    int latest = store.next_notification_id - 1;
    selvar_unregister_keys();
    EXPECT_EQ(calls(),
              unregistrations(joined(joined(watched, { "nvram, default, power" }), module_keys), latest));
}

TEST_F(watched_keys_desk, a_module_without_a_key_list_is_passed_over_for_that_space)
{
    struct module entry = lamp();
    entry.mem_keys = nullptr;
    module_in_table entered(entry);
    selvar_register_keys();
    EXPECT_EQ(calls_of("libselvar_register_notification"),
              registrations(joined(watched, { "nvram, default, lamp_setting" })));

    entry.nvram_keys = nullptr;
    module_table[0] = entry;
    record_clear();
    selvar_register_keys();
    EXPECT_EQ(calls_of("libselvar_register_notification"), registrations(watched));
}
