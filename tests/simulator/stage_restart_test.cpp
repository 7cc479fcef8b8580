// SPDX-License-Identifier: MIT
#include "stage_desk.h"

#include "stage/restart.h"

#include <csignal>
#include <cstdio>

TEST(restart_pause, is_100_ms_after_the_first_life)
{
    EXPECT_EQ(restart_pause_ms(0, 0), 100);
    EXPECT_EQ(restart_pause_ms(0, 9'999), 100);
}

TEST(restart_pause, doubles_with_each_short_life_up_to_5_s)
{
    const int expected[] = { 100, 200, 400, 800, 1600, 3200, 5000, 5000 };
    int pause_ms = 0;
    for (int next : expected) {
        pause_ms = restart_pause_ms(pause_ms, 0);
        EXPECT_EQ(pause_ms, next);
    }
}

TEST(restart_pause, still_grows_after_a_life_just_under_10_s)
{
    EXPECT_EQ(restart_pause_ms(800, 9'999), 1600);
}

TEST(restart_pause, begins_again_after_a_life_of_10_s)
{
    EXPECT_EQ(restart_pause_ms(800, 10'000), 100);
    EXPECT_EQ(restart_pause_ms(5000, 3'600'000), 100);
}

STORY(restart_counts, are_lines_of_a_name_and_a_count)
{
    const std::string path = desk_path("counts");
    restart_count(path, "store", 1);
    EXPECT_EQ(desk_file(path), "store 1\n");
    restart_count(path, "daemon", 2);
    restart_count(path, "store", 1);
    EXPECT_EQ(desk_file(path), "daemon 2\nstore 2\n");
}

STORY(restart_counts, begin_anew_when_somebody_has_taken_the_file_away)
{
    const std::string path = desk_path("counts");
    restart_count(path, "store", 5);
    remove(path.c_str());
    restart_count(path, "cloud", 1);
    EXPECT_EQ(desk_file(path), "cloud 1\n");
}

STORY(restart_counts, are_not_kept_without_a_folder)
{
    restart_count(desk_path("nowhere") + "/counts", "store", 1);
    EXPECT_EQ(desk_file(desk_path("nowhere") + "/counts"), "");
}

STORY(restart_counts, tell_of_a_program_that_was_started_again_once)
{
    stage_desk desk;
    stage_desk_open(desk);
    stage_desk_add(desk, "store", obedient);
    program_start(desk.camera.programs[0]);
    desk.camera.restart_counts = desk_path("counts");
    stage_desk_until(desk, [] { return true; });
    EXPECT_EQ(desk_file(desk_path("counts")), "") << "a first start is none";

    desk_clock_run(1000);
    kill(stage_desk_program(desk, "store").pid, SIGKILL);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return !desk_file(desk_path("counts")).empty(); }));
    for (int i = 0; i < 10; i++)
        stage_desk_until(desk, [] { return true; });
    EXPECT_EQ(desk_file(desk_path("counts")), "store 1\n");
    stage_desk_close(desk);
}
