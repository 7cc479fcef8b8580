// SPDX-License-Identifier: MIT
// Values of the wrong type, the literal "error" and "timeout", and the hooks of the feature modules.
#include "core/notify.h"
#include "module_in_table.h"

#include "fakes/daemon_desk.h"

static texts hooked;

static void note_hook(const char *key, const void *value)
{
    hooked.push_back(std::string(key) + "=" + (value ? static_cast<const char *>(value) : "null") +
                     (kit.flip ? " (flip is set)" : ""));
}

static struct module listening()
{
    struct module entry = module_with_methods("listening", nullptr, 0);
    entry.selvar_callback = note_hook;
    return entry;
}

struct delivered : store_open_desk {
    delivered() : store_open_desk(selvar_notify_handler), entered(listening())
    {
        hooked.clear();
    }

    static void delivers(const xresponse &value)
    {
        selvar_nvram_register_notify("nvram", value.key.c_str());
        record_clear();
        store_notify("nvram", value);
        selvar_nvram_response();
    }

    static texts lines_of_the_daemon()
    {
        texts lines;
        for (const std::string &line : log_lines())
            if (line.find("notify_cb") == std::string::npos)
                lines.push_back(line);
        return lines;
    }

    module_in_table entered;
};

TEST_F(delivered, a_text_reaches_the_modules_before_the_row)
{
    delivers(text_reply("flip", "on"));
    EXPECT_EQ(hooked, texts{ "flip=on" });
    EXPECT_EQ(kit.flip, 1);
}

TEST_F(delivered, a_key_without_a_row_reaches_the_modules_too)
{
    delivers(text_reply("lamp_setting", "warm"));
    EXPECT_EQ(hooked, texts{ "lamp_setting=warm" });
    EXPECT_TRUE(logged("warning: unknown key: lamp_setting, msg: warm\n"));
}

TEST_F(delivered, a_removed_key_does_not_reach_the_modules)
{
    delivers(no_value_reply("flip"));
    EXPECT_EQ(hooked, texts{});
}

struct null_key : delivered, testing::WithParamInterface<const char *> {};

TEST_P(null_key, that_goes_on_reaches_the_modules_as_null)
{
    delivers(no_value_reply(GetParam()));
    EXPECT_EQ(hooked, texts{ std::string(GetParam()) + "=null" });
}

INSTANTIATE_TEST_SUITE_P(keys, null_key, testing::Values("motor", "power", "bind_status"),
                         [](const auto &row) { return row.param; });

TEST_F(delivered, a_module_without_a_hook_is_passed_over)
{
    module_table[0].selvar_callback = nullptr;
    delivers(text_reply("flip", "on"));
    EXPECT_EQ(kit.flip, 1);
}

TEST_F(delivered, a_number_for_a_text_key_ends_before_hooks_and_row_without_a_line)
{
    delivers(number_reply("flip", 1));
    EXPECT_EQ(hooked, texts{});
    EXPECT_EQ(kit.flip, 0);
    EXPECT_EQ(lines_of_the_daemon(), texts{});
}

TEST_F(delivered, a_number_for_a_key_without_a_row_ends_without_a_line)
{
    delivers(number_reply("lamp_setting", 1));
    EXPECT_EQ(hooked, texts{});
    EXPECT_EQ(lines_of_the_daemon(), texts{});
}

TEST_F(delivered, a_text_for_the_night_stamp_ends_before_hooks_and_row_without_a_line)
{
    delivers(text_reply("time_night", "5"));
    EXPECT_EQ(hooked, texts{});
    EXPECT_EQ(kit.night_count, 0);
    EXPECT_EQ(lines_of_the_daemon(), texts{});
}

TEST_F(delivered, an_error_for_the_night_stamp_is_not_read_as_a_number)
{
    xresponse bad = number_reply("time_night", 5);
    bad.status = 1;
    delivers(bad);
    EXPECT_EQ(kit.night_count, 0);
}

TEST_F(delivered, an_error_for_a_text_key_is_its_text)
{
    xresponse bad = text_reply("nobody_knows", "value");
    bad.status = 1;
    delivers(bad);
    EXPECT_TRUE(logged("warning: unknown key: nobody_knows, msg: error\n"));
}

TEST_F(delivered, a_time_out_for_a_text_key_is_its_text)
{
    selvar_nvram_register_notify("nvram", "nobody_knows");
    store_notification_times_out("nvram", text_reply("nobody_knows", "value"));
    selvar_nvram_response();
    EXPECT_TRUE(logged("warning: unknown key: nobody_knows, msg: timeout\n"));
}

TEST_F(delivered, an_empty_text_is_a_value)
{
    kit.light = 0;
    delivers(text_reply("light", ""));
    EXPECT_EQ(kit.light, 1);
    EXPECT_FALSE(log_mentions("msg: null"));
}

TEST_F(delivered, a_direct_call_is_trusted)
{
    uint64_t stamp = 424242;
    module_table[0].selvar_callback = nullptr;
    selvar_notify_handler("time_night", &stamp);
    EXPECT_EQ(kit.night_count, 1);
}
