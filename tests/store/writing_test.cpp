// SPDX-License-Identifier: MIT
// Writes, removals, reset and sync: the call made, what is cut, what a failure logs.
#include "store_desk.h"

TEST_F(open_store, an_nvram_text_is_set_with_callbacks_and_five_seconds)
{
    EXPECT_EQ(selvar_nvram_set_string("power", "on", 2), 0);
    EXPECT_EQ(story(), texts{ R"(libselvar_set_value(nvram, default, power, 1, "on", yes, yes, 5, 0))" });
}

TEST_F(open_store, a_mem_text_is_set_the_same_way)
{
    EXPECT_EQ(selvar_mem_set_string("dev_status", "starting", 0), 0);
    EXPECT_EQ(story(),
              texts{ R"(libselvar_set_value(mem, default, dev_status, 1, "starting", yes, yes, 5, 0))" });
}

struct ignored_length : open_store, testing::WithParamInterface<int> {};

TEST_P(ignored_length, changes_nothing)
{
    EXPECT_EQ(selvar_nvram_set_string("light", "off", GetParam()), 0);
    EXPECT_EQ(story(), texts{ R"(libselvar_set_value(nvram, default, light, 1, "off", yes, yes, 5, 0))" });
}

INSTANTIATE_TEST_SUITE_P(lengths, ignored_length, testing::Values(-1, 0, 1, 1000));

TEST_F(open_store, a_number_goes_out_as_type_5_with_all_64_bits)
{
    EXPECT_EQ(selvar_mem_set_uint64("time_motor", 18446744073709551615ULL), 0);
    EXPECT_EQ(
        story(),
        texts{ "libselvar_set_value(mem, default, time_motor, 5, 18446744073709551615, yes, yes, 5, 0)" });
}

struct string_setter {
    const char *name;
    const char *space;
    int (*set)(const char *, const char *, int);
};

struct cut_texts : open_store, testing::WithParamInterface<string_setter> {};

TEST_P(cut_texts, at_127_characters_of_key_and_value_without_a_message)
{
    std::string key(200, 'k');
    std::string value(200, 'v');
    EXPECT_EQ(GetParam().set(key.c_str(), value.c_str(), 200), 0);
    EXPECT_EQ(story(),
              texts{ "libselvar_set_value(" + std::string(GetParam().space) + ", default, " +
                     std::string(127, 'k') + ", 1, \"" + std::string(127, 'v') + "\", yes, yes, 5, 0)" });
}

TEST_P(cut_texts, but_127_characters_stay_whole)
{
    std::string value(127, 'v');
    GetParam().set("key", value.c_str(), 0);
    EXPECT_EQ(story(), texts{ "libselvar_set_value(" + std::string(GetParam().space) +
                              ", default, key, 1, \"" + value + "\", yes, yes, 5, 0)" });
}

INSTANTIATE_TEST_SUITE_P(setters, cut_texts,
                         testing::Values(string_setter{ "nvram", "nvram", selvar_nvram_set_string },
                                         string_setter{ "mem", "mem", selvar_mem_set_string }),
                         [](const auto &row) { return row.param.name; });

TEST_F(open_store, the_key_of_a_number_is_cut_as_well)
{
    selvar_mem_set_uint64(std::string(130, 'k').c_str(), 7);
    EXPECT_EQ(story(), texts{ "libselvar_set_value(mem, default, " + std::string(127, 'k') +
                              ", 5, 7, yes, yes, 5, 0)" });
}

TEST_F(open_store, the_unlimited_write_is_neither_copied_nor_cut_nor_answered)
{
    std::string value(5000, 'v');
    EXPECT_EQ(selvar_mem_set_unlimit_len("focus_time", 1, value.c_str()), 1);
    EXPECT_EQ(story(), texts{ "libselvar_set_value(mem, default, focus_time, 1, \"" + value +
                              "\", none, none, 0, 0)" });
}

TEST_F(open_store, the_unlimited_write_passes_a_long_key_whole)
{
    std::string key(300, 'k');
    selvar_mem_set_unlimit_len(key.c_str(), 1, "v");
    EXPECT_EQ(story(), texts{ "libselvar_set_value(mem, default, " + key + ", 1, \"v\", none, none, 0, 0)" });
}

TEST_F(open_store, an_unlimited_write_that_was_not_sent_gives_the_librarys_result)
{
    store.set_result = false;
    EXPECT_EQ(selvar_mem_set_unlimit_len("focus_time", 1, "v"), 0);
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(open_store, an_nvram_write_that_was_not_sent_is_a_failure)
{
    store.set_result = false;
    EXPECT_EQ(selvar_nvram_set_string("power", "on", 0), -1);
    EXPECT_EQ(log_lines(), texts{ "err: nvram send set value cmd fail.\n" });
}

TEST_F(open_store, a_mem_write_that_was_not_sent_is_a_failure)
{
    store.set_result = false;
    EXPECT_EQ(selvar_mem_set_string("dev_status", "x", 0), -1);
    EXPECT_EQ(selvar_mem_set_uint64("time_flip", 1), -1);
    EXPECT_EQ(log_lines(),
              (texts{ "err: mem send set value cmd fail.\n", "err: mem send set value cmd fail.\n" }));
}

TEST_F(open_store, a_removal_names_the_space_that_the_caller_chose)
{
    EXPECT_EQ(selvar_nvram_unset("mem", "sound_play"), 0);
    EXPECT_EQ(selvar_nvram_unset("nvram", "power"), 0);
    EXPECT_EQ(story(), (texts{ "libselvar_unset(mem, default, sound_play, none, none, 0, 0)",
                               "libselvar_unset(nvram, default, power, none, none, 0, 0)" }));
}

TEST_F(open_store, the_key_of_a_removal_is_cut_as_well)
{
    EXPECT_EQ(selvar_nvram_unset("mem", std::string(200, 'k').c_str()), 0);
    EXPECT_EQ(story(),
              texts{ "libselvar_unset(mem, default, " + std::string(127, 'k') + ", none, none, 0, 0)" });
}

TEST_F(open_store, a_removal_that_was_not_sent_is_a_failure)
{
    store.unset_result = false;
    EXPECT_EQ(selvar_nvram_unset("mem", "sound_play"), -1);
    EXPECT_EQ(log_lines(), texts{ "err: send unset cmd fail.\n" });
}

TEST_F(open_store, the_reset_of_nvram_is_one_request_with_callbacks)
{
    EXPECT_EQ(selvar_nvram_restore(), 1);
    EXPECT_EQ(story(), texts{ "libselvar_other(reset, nvram, default, null, 1, null, yes, yes, 5, 0)" });
}

TEST_F(open_store, the_reset_gives_the_librarys_result_and_no_line)
{
    store.other_result = false;
    EXPECT_EQ(selvar_nvram_restore(), 0);
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(open_store, a_sync_waits_for_nothing)
{
    EXPECT_EQ(selvar_nvram_sync(), 1);
    EXPECT_EQ(story(), texts{ "libselvar_sync(nvram, none, none, 0, 0)" });
}

TEST_F(open_store, a_sync_gives_the_librarys_result_and_no_line)
{
    store.sync_result = false;
    EXPECT_EQ(selvar_nvram_sync(), 0);
    EXPECT_EQ(log_lines(), texts{});
}
