// SPDX-License-Identifier: MIT
// The reports of the tick: day/night switches every twenty minutes, the system once a day.
#include "tick_desk.h"

struct reports : tick {
    reports()
    {
        motor_time = static_cast<int64_t>(platform.realtime_ms); // the ticks leave the player alone
        kit.time_set_at = 1;                                     // and do not ask for the time
    }

    static texts story_at(uint32_t second)
    {
        kit.time_set_at = second;
        ticks_at(second);
        return story();
    }
};

struct ircut_report : reports {
    ircut_report()
    {
        kit.night = 2;
        kit.night_count = 3;
    }

    static inline const std::string sent = R"(report_stat_object("ircut.info", {"type":2,"count":3}))";
};

TEST_F(ircut_report, comes_after_twenty_minutes)
{
    EXPECT_EQ(story_at(2199), texts{});
    EXPECT_EQ(story_at(2200), (texts{ "info: report_stat_object: {\"type\":2,\"count\":3}\n", sent,
                                      "info: ircut_report count is 3.\n" }));
    EXPECT_EQ(kit.night_count, 0);
    EXPECT_EQ(kit.ircut_report_time, 2200U);
    EXPECT_EQ(kit.stat_report_time, 2200U);
}

TEST_F(ircut_report, of_one_switch_is_a_report)
{
    kit.night_count = 1;
    ticks_at(2200);
    EXPECT_TRUE(called(R"(report_stat_object("ircut.info", {"type":2,"count":1}))"));
}

TEST_F(ircut_report, of_nothing_is_a_line_and_begins_a_new_period)
{
    kit.night_count = 0;
    EXPECT_EQ(story_at(2200), texts{ "info: ircut_report count is 0, don't need report!\n" });
    EXPECT_EQ(kit.ircut_report_time, 2200U);
    EXPECT_EQ(kit.stat_report_time, 0U);
    EXPECT_EQ(story_at(3399), texts{});
    EXPECT_EQ(story_at(3400), texts{ "info: ircut_report count is 0, don't need report!\n" });
}

TEST_F(ircut_report, counts_its_period_across_the_wrap_of_the_clock)
{
    kit.ircut_report_time = UINT32_MAX - 199;
    kit.sysinfo_due = UINT32_MAX;
    EXPECT_EQ(story_at(999), texts{});
    ticks_at(1000);
    EXPECT_TRUE(called(sent));
}

struct system_report : reports {
    system_report()
    {
        kit.sysinfo_due = 5000;
        kit.ircut_report_time = 5000;
        system_figures.uptime = 77;
    }

    static bool reported_at(uint32_t second)
    {
        kit.time_set_at = second;
        ticks_at(second);
        return static_cast<bool>(
            called(R"(report_stat_object("system.info", {"uptime":77,"loads":[0.0,0.0,0.0],)"
                   R"("freeram":0,"sharedram":0,"bufferram":0}))"));
    }
};

TEST_F(system_report, comes_when_its_moment_has_passed)
{
    EXPECT_FALSE(reported_at(4999));
    EXPECT_FALSE(reported_at(5000)) << "not yet in the second itself";
    EXPECT_TRUE(reported_at(5001));
    EXPECT_EQ(kit.sysinfo_due, 5001U + 86400U);
    EXPECT_EQ(kit.stat_report_time, 5001U);
    EXPECT_FALSE(reported_at(5002));
}

TEST_F(system_report, keeps_its_distance_from_any_other_report)
{
    kit.stat_report_time = 4900;
    EXPECT_FALSE(reported_at(5260));
    EXPECT_TRUE(reported_at(5261));
}

TEST_F(system_report, waits_for_the_distance_from_the_ircut_report_of_the_same_tick)
{
    kit.ircut_report_time = 3801;
    kit.night_count = 1;
    EXPECT_FALSE(reported_at(5001));
    EXPECT_EQ(calls_of("report_stat_object").size(), 1U);
    EXPECT_FALSE(reported_at(5361));
    EXPECT_TRUE(reported_at(5362));
}

TEST_F(system_report, that_failed_is_due_a_day_later)
{
    system_figures.sysinfo_fails = true;
    EXPECT_FALSE(reported_at(5001));
    EXPECT_TRUE(logged("err: sysinfo() return failed!\n"));
    EXPECT_EQ(kit.sysinfo_due, 5001U + 86400U);
    EXPECT_EQ(kit.stat_report_time, 0U);
}
