// SPDX-License-Identifier: MIT
// Reboot, factory reset and "kiVO.restore".
#include "core/dispatcher.h"
#include "handlers/maintenance.h"

#include "fakes/daemon_desk.h"

static const char notice[] = R"({"method":"_internal.reboot","params":null})";
static const char refused[] = "err: device is otaing, don't allow reboot!\n";
static const char receipt[] = "info: kit_reboot(), reset done and reboot 5s later...\n";

struct reboot : daemon_desk {
    reboot()
    {
        platform.monotonic_s = 4321;
        strcpy(language, "en");
        prompts.has("en/booting", "boot");
        prompts.has("en/reset_success", "success");
    }

    // From the parent's view: in the child the script's start leaves no trace in this record.
    static texts reboot_story()
    {
        return { receipt,
                 to_cloud(notice),
                 led(0, 50, 1, 0, 0, 2),
                 led(1, 50, 0, 0, 0, 2),
                 "open(/mnt/data/sound/en/booting)",
                 "info: Run: /mnt/data/bin/log2tf.sh\n" };
    }

    prompt_folder prompts;
};

TEST_F(reboot, tells_the_cloud_lights_up_speaks_and_saves_the_log)
{
    kit_reboot();
    script_has_ended();
    EXPECT_TRUE(in_order(reboot_story()));
    EXPECT_EQ(sent_texts(), texts{ notice });
    EXPECT_EQ(strlen(notice), 43U);
    EXPECT_EQ(kit.rebooting, 1);
    EXPECT_EQ(kit.reboot_time, 4321U);
    EXPECT_EQ(executed(), texts{ "exec(/mnt/data/bin/log2tf.sh, null)" });
    EXPECT_EQ(calls_of("kill"), texts{}) << "that is the tick's";
}

TEST_F(reboot, without_a_link_to_the_cloud_comes_all_the_same)
{
    kit.otd_sock = 0;
    kit_reboot();
    script_has_ended();
    EXPECT_TRUE(in_order({ receipt, "warning: kit_reboot(), otd_sock not ready: 0\n", led(0, 50, 1, 0, 0, 2),
                           led(1, 50, 0, 0, 0, 2), "open(/mnt/data/sound/en/booting)" }));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_EQ(kit.rebooting, 1);
    EXPECT_EQ(kit.reboot_time, 4321U);
}

TEST_F(reboot, without_its_prompt_comes_all_the_same)
{
    prompt_files.open_errno = EIO;
    kit_reboot();
    script_has_ended();
    EXPECT_EQ(kit.reboot_time, 4321U);
}

TEST_F(reboot, during_an_update_is_only_logged)
{
    kit.ota = 1;
    kit_reboot();
    EXPECT_EQ(story(), (texts{ receipt, refused }));
    EXPECT_EQ(kit.rebooting, 0);
    EXPECT_EQ(kit.reboot_time, 0U);
}

struct factory_reset : reboot {
    static texts reset_story()
    {
        return reset_story(nvram_reset, mem_set("dev_status", "reset"));
    }

    static texts reset_story(const std::string &restores, const std::string &writes)
    {
        texts all = { restores, "open(/mnt/data/sound/en/reset_success)", writes };
        const texts then = reboot_story();
        all.insert(all.end(), then.begin(), then.end());
        return all;
    }

    char out[1024] = "";
};

TEST_F(factory_reset, restores_the_store_speaks_and_reboots)
{
    EXPECT_EQ(reset_to_factory(), 1);
    script_has_ended();
    EXPECT_TRUE(in_order(reset_story()));
}

TEST_F(factory_reset, gives_the_store_s_result_and_reboots_whatever_it_is)
{
    store.other_result = false;
    EXPECT_EQ(reset_to_factory(), 0);
    script_has_ended();
    EXPECT_TRUE(in_order(reset_story()));
}

static const std::string uninit = "err: selvar uninit.\n";

TEST_F(factory_reset, while_the_store_is_closed_gives_its_failure_and_reboots)
{
    selvar_nvram_exit();
    record_clear();
    EXPECT_EQ(reset_to_factory(), -1);
    script_has_ended();
    EXPECT_TRUE(in_order(reset_story(uninit, uninit)));
    EXPECT_EQ(kit.reboot_time, 4321U);
}

TEST_F(factory_reset, by_the_cloud_while_the_store_is_closed_counts_as_failed_and_is_done_and_answered)
{
    selvar_nvram_exit();
    record_clear();
    msg_dispatcher(R"({"id":7,"method":"kiVO.restore"})", 32, kit.otd_sock, 0);
    script_has_ended();
    const std::string ok = R"({"id":7,"result":["OK"]})";
    texts expected = reset_story(uninit, uninit);
    expected.insert(expected.begin(), R"(report_stat_object("camwarden.info", {"type":1}))");
    for (const std::string &line : { std::string("debug: kiVO restore fail\n"), to_cloud(ok) })
        expected.push_back(line);
    EXPECT_TRUE(in_order(expected));
    EXPECT_EQ(sent_texts(), (texts{ notice, ok }));
    EXPECT_EQ(kit.reboot_time, 4321U);
}

TEST_F(factory_reset, during_an_update_is_only_logged)
{
    kit.ota = 1;
    EXPECT_EQ(reset_to_factory(), -1);
    EXPECT_EQ(story(), texts{ refused });
}

TEST_F(factory_reset, by_the_cloud_is_answered_and_done)
{
    EXPECT_EQ(restore_handler(7, out, sizeof(out)), 1);
    script_has_ended();
    EXPECT_STREQ(out, R"({"id":7,"result":["OK"]})");
    EXPECT_TRUE(in_order(reset_story()));
    EXPECT_FALSE(log_mentions("too long"));
}

TEST_F(factory_reset, by_the_cloud_with_35_characters_of_room_is_done_without_an_answer)
{
    EXPECT_EQ(restore_handler(7, out, 35), 1);
    script_has_ended();
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(log_mentions("err: json string too long. handlers/maintenance.cpp, line "));
    EXPECT_TRUE(in_order(reset_story()));
}

TEST_F(factory_reset, by_the_cloud_with_36_characters_of_room_fits_any_id)
{
    restore_handler(INT32_MIN, out, 36);
    script_has_ended();
    EXPECT_STREQ(out, R"({"id":-2147483648,"result":["OK"]})");
}

TEST_F(factory_reset, by_the_cloud_during_an_update_is_only_logged)
{
    kit.ota = 1;
    EXPECT_EQ(restore_handler(7, out, sizeof(out)), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(story(), texts{ refused });
}
