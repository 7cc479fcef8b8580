// SPDX-License-Identifier: MIT
// The objects that are reported, to the letter.
#include "handlers/statistics.h"

#include "fakes/daemon_desk.h"
#include "fakes/memory.h"

#include <climits>

struct statistics : kit_desk {
    statistics()
    {
        platform.monotonic_s = 4321;
    }
};

TEST_F(statistics, of_an_event_are_its_type)
{
    EXPECT_EQ(report_stat(2), 0);
    EXPECT_EQ(story(), (texts{ "info: report_stat_object: {\"type\":2}\n",
                               R"(report_stat_object("camwarden.info", {"type":2}))" }));
    EXPECT_EQ(kit.stat_report_time, 4321U);
}

TEST_F(statistics, that_nobody_takes_count_as_reported)
{
    platform.report_stat_result = -1;
    EXPECT_EQ(report_stat(0), 0);
    EXPECT_EQ(kit.stat_report_time, 4321U);
}

TEST_F(statistics, of_the_ircut_are_its_mode_and_count)
{
    kit.night = 1;
    kit.night_count = 12;
    EXPECT_EQ(report_ircut(), 0);
    EXPECT_EQ(story(), (texts{ "info: report_stat_object: {\"type\":1,\"count\":12}\n",
                               R"(report_stat_object("ircut.info", {"type":1,"count":12}))" }));
    EXPECT_EQ(kit.stat_report_time, 4321U);
}

struct system_statistics : statistics {
    system_statistics()
    {
        system_figures.uptime = 86461;
        system_figures.loads[0] = 65536;
        system_figures.loads[1] = 32768;
        system_figures.loads[2] = 1;
        system_figures.free = 123456;
        system_figures.shared = 0;
        system_figures.buffers = 789;
    }

    static inline const std::string object = R"({"uptime":86461,"loads":[1.0,0.5,1.52587890625e-05],)"
                                             R"("freeram":123456,"sharedram":0,"bufferram":789})";
};

TEST_F(system_statistics, without_a_list_of_restarts_are_the_figures)
{
    EXPECT_EQ(report_system(), 0);
    EXPECT_EQ(story(), (texts{ "fopen(restart list, r)", "warning: perp_reset file don't exist!\n",
                               "info: report_stat_object: " + object + "\n",
                               R"(report_stat_object("system.info", )" + object + ")" }));
    EXPECT_EQ(kit.stat_report_time, 4321U);
}

TEST_F(system_statistics, are_as_wide_as_the_systems)
{
    system_figures.uptime = LONG_MAX;
    system_figures.free = LONG_MAX;
    report_system();
    const std::string widest = std::to_string(LONG_MAX);
    EXPECT_TRUE(log_mentions(R"({"uptime":)" + widest + ","));
    EXPECT_TRUE(log_mentions(R"("freeram":)" + widest + ","));
}

TEST_F(system_statistics, bring_the_restarts_and_remove_their_list)
{
    system_figures.restart_list = "store 3\nplayer 1\n";
    EXPECT_EQ(report_system(), 0);
    EXPECT_TRUE(in_order({ "fopen(restart list, r)", "info: service_name:store counter:3\n",
                           "info: service_name:player counter:1\n",
                           "info: service_object: {\"store\":3,\"player\":1}\n", "fclose(restart list)",
                           "remove(restart list)" }));
    EXPECT_TRUE(log_mentions(R"("bufferram":789,"reset":{"store":3,"player":1}})"));
}

TEST_F(system_statistics, bring_each_restart_once)
{
    system_figures.restart_list = "store 3\n";
    report_system();
    record_clear();
    report_system();
    EXPECT_TRUE(logged("warning: perp_reset file don't exist!\n"));
    EXPECT_FALSE(log_mentions(R"("reset")"));
}

struct list_row {
    const char *name;
    std::string list;
    const char *services; // as they are logged
};

struct restart_list : system_statistics, testing::WithParamInterface<list_row> {};

TEST_P(restart_list, is_read_like_a_list_of_words_and_numbers)
{
    system_figures.restart_list = GetParam().list;
    EXPECT_EQ(report_system(), 0);
    const std::string services = GetParam().services;
    EXPECT_TRUE(logged("info: service_object: " + services + "\n"));
    EXPECT_EQ(static_cast<bool>(log_mentions(R"("bufferram":789,"reset":)" + services + "}")),
              services != "{}");
    EXPECT_TRUE(called("remove(restart list)"));
    EXPECT_EQ(calls_of("report_stat_object").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    contents, restart_list,
    testing::Values(list_row{ "empty", "", "{}" }, list_row{ "blank", " \n\n", "{}" },
                    list_row{ "one_without_a_line_end", "a 1", R"({"a":1})" },
                    list_row{ "any_white_space", "  a\n\t1   b 2", R"({"a":1,"b":2})" },
                    list_row{ "negative", "a -1\n", R"({"a":-1})" },
                    list_row{ "number_missing", "a 1\nb\nc 3\n", R"({"a":1})" },
                    list_row{ "number_with_a_tail", "a 1x\nb 2\n", R"({"a":1})" },
                    list_row{ "the_same_twice", "a 1\na 2\n", R"({"a":2})" },
                    list_row{ "name_that_fits", std::string(63, 'n') + " 1\n",
                              R"({"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn":1})" },
                    list_row{ "name_too_long", "a 1\n" + std::string(64, 'n') + " 1\nb 2\n", R"({"a":1})" },
                    list_row{ "name_too_long_with_a_number_behind_the_cut", std::string(63, 'n') + "5 1\n",
                              R"({"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn":5})" },
                    list_row{ "nameless", std::string("\0 5\na 1\n", 8), R"({"a":1})" }),
    [](const auto &row) { return row.param.name; });

TEST_F(system_statistics, that_cannot_be_read_are_not_reported)
{
    system_figures.sysinfo_fails = true;
    system_figures.restart_list = "store 3\n";
    EXPECT_EQ(report_system(), -1);
    EXPECT_EQ(story(), texts{ "err: sysinfo() return failed!\n" });
    EXPECT_EQ(kit.stat_report_time, 0U);
    EXPECT_TRUE(system_figures.restart_list.has_value());
}

struct report_row {
    const char *name;
    int (*make)();
};

struct report_out_of_memory : system_statistics, testing::WithParamInterface<report_row> {};

TEST_P(report_out_of_memory, is_not_sent_and_loses_no_restart)
{
    int refusals = 0;
    for (int nth = 1; nth < 100; nth++) {
        record_clear();
        kit.stat_report_time = 0;
        system_figures.restart_list = "store 3\n";
        allocation_fails(nth);
        int result = GetParam().make();
        if (!allocation_failed())
            break;
        refusals++;
        EXPECT_EQ(result, -1) << nth;
        EXPECT_TRUE(log_mentions("out of memory")) << nth;
        EXPECT_EQ(calls_of("report_stat_object"), texts{}) << nth;
        EXPECT_EQ(kit.stat_report_time, 0U) << nth;
    }
    EXPECT_GT(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(reports, report_out_of_memory,
                         testing::Values(report_row{ "event", [] { return report_stat(1); } },
                                         report_row{ "ircut", report_ircut },
                                         report_row{ "system", report_system }),
                         [](const auto &row) { return row.param.name; });

TEST_F(system_statistics, without_memory_for_the_restarts_keep_their_list)
{
    int read_in_part = 0;
    for (int nth = 1; nth < 100; nth++) {
        record_clear();
        system_figures.restart_list = "store 3\n";
        allocation_fails(nth);
        report_system();
        if (!allocation_failed())
            break;
        EXPECT_EQ(calls_of("fopen").size(), calls_of("fclose").size()) << nth;
        if (log_mentions("service_object"))
            continue;
        read_in_part += static_cast<int>(calls_of("fopen").size());
        EXPECT_EQ(calls_of("remove"), texts{}) << nth;
    }
    EXPECT_GT(read_in_part, 2);
}
