// SPDX-License-Identifier: MIT
// Waiting for lines of a journal that the case writes, with the case as stage that keeps the time.
#include "ctl/waiting.h"

#include "harness.h"

#include <fstream>
#include <thread>

static const std::vector<std::string> wanted = { "what=wanted" };

static void write_line(int64_t n, int64_t ms, const std::string &what)
{
    std::ofstream(desk_path("journal"), std::ios::app) << R"({"n":)" + std::to_string(n) + R"(,"ms":)" +
                                                              std::to_string(ms) + R"(,"who":"x","what":")" +
                                                              what + "\"}\n";
}

struct waiting_desk {
    desk_stage stage;
    journal_reader journal;
};

static void open_desk(waiting_desk &desk)
{
    write_line(1, 0, "other");
    desk_stage_listen(desk.stage);
    journal_reader_open(desk.journal, desk_path(""), false);
}

static void close_desk(waiting_desk &desk)
{
    journal_reader_close(desk.journal);
    desk_stage_close(desk.stage);
}

// Waits on a thread of its own, so that the case can be the camera meanwhile.
struct waiter {
    wait_result result;
    std::thread thread;
};

static void begin_wait(waiter &waiter, waiting_desk &desk, const wait_limits &limits)
{
    waiter.thread = std::thread(
        [&waiter, &desk, limits] { waiter.result = wait_for(goal_of_line(wanted), desk.journal, limits); });
}

// As stage sees it: the wish to be told of a moment.
static std::string wish(waiting_desk &desk)
{
    const json_ptr line = desk_stage_receive(desk.stage);
    return line ? json_text(line.get()) : "";
}

STORY(ctl_waiting, ends_with_the_line_that_it_waits_for)
{
    waiting_desk desk;
    waiter waiter;
    open_desk(desk);
    begin_wait(waiter, desk, { .until_ms = 5000 });
    EXPECT_EQ(wish(desk), R"({"do":"clock.wait","until_ms":5000})");

    write_line(2, 400, "something");
    write_line(3, 5000, "wanted");
    waiter.thread.join();

    EXPECT_EQ(waiter.result.end, wait_end::came);
    EXPECT_EQ(json_get_number(waiter.result.line.get(), "n"), 3);
    close_desk(desk);
}

STORY(ctl_waiting, ends_when_the_virtual_clock_has_passed)
{
    waiting_desk desk;
    waiter waiter;
    open_desk(desk);
    begin_wait(waiter, desk, { .until_ms = 5000 });
    wish(desk);

    desk_stage_send(desk.stage, R"({"done":{"ms":5000}})");
    waiter.thread.join();

    EXPECT_EQ(waiter.result.end, wait_end::late);
    close_desk(desk);
}

STORY(ctl_waiting, does_not_count_a_line_that_is_later_though_it_is_read_in_time)
{
    waiting_desk desk;
    waiter waiter;
    open_desk(desk);
    begin_wait(waiter, desk, { .until_ms = 5000 });
    wish(desk);

    write_line(2, 5001, "wanted");
    desk_stage_send(desk.stage, R"({"done":{"ms":5002}})");
    waiter.thread.join();

    EXPECT_EQ(waiter.result.end, wait_end::late);
    close_desk(desk);
}

STORY(ctl_waiting, ends_when_the_camera_does)
{
    for (const char *farewell : { R"({"refused":"the camera is stopping"})", "" }) {
        waiting_desk desk;
        waiter waiter;
        open_desk(desk);
        begin_wait(waiter, desk, { .until_ms = 5000 });
        wish(desk);

        if (farewell[0] != '\0')
            desk_stage_send(desk.stage, farewell);
        else
            desk_stage_hang_up(desk.stage);
        waiter.thread.join();

        EXPECT_EQ(waiter.result.end, wait_end::gone) << farewell;
        close_desk(desk);
    }
}

STORY(ctl_waiting, where_there_is_no_camera_ends_at_once)
{
    write_line(1, 0, "other");
    journal_reader journal;
    journal_reader_open(journal, desk_path(""), false);
    EXPECT_EQ(wait_for(goal_of_line(wanted), journal, { .until_ms = 5000 }).end, wait_end::gone);
    journal_reader_close(journal);
}

STORY(ctl_waiting, needs_no_camera_for_the_hosts_time)
{
    write_line(1, 0, "other");
    journal_reader journal;
    journal_reader_open(journal, desk_path(""), false);
    EXPECT_EQ(wait_for(goal_of_line(wanted), journal, { .host_ms = 1 }).end, wait_end::host_late);

    write_line(2, 7, "wanted");
    EXPECT_EQ(wait_for(goal_of_line(wanted), journal, { .host_ms = 20'000 }).end, wait_end::came);
    journal_reader_close(journal);
}

STORY(ctl_waiting, does_not_count_lines_up_to_a_number)
{
    write_line(1, 0, "wanted");
    write_line(2, 0, "wanted");
    write_line(3, 0, "wanted");
    journal_reader journal;
    journal_reader_open(journal, desk_path(""), false);

    const wait_result result = wait_for(goal_of_line(wanted), journal, { .host_ms = 20'000, .after_n = 2 });

    EXPECT_EQ(json_get_number(result.line.get(), "n"), 3);
    journal_reader_close(journal);
}

STORY(ctl_waiting, sees_each_line_once)
{
    write_line(1, 0, "wanted");
    write_line(2, 0, "wanted");
    journal_reader journal;
    journal_reader_open(journal, desk_path(""), false);
    const wait_limits limits = { .host_ms = 1 };

    EXPECT_EQ(json_get_number(wait_for(goal_of_line(wanted), journal, limits).line.get(), "n"), 1);
    EXPECT_EQ(json_get_number(wait_for(goal_of_line(wanted), journal, limits).line.get(), "n"), 2);
    EXPECT_EQ(wait_for(goal_of_line(wanted), journal, limits).end, wait_end::host_late);
    journal_reader_close(journal);
}

STORY(ctl_waiting, remembers_the_last_lines_about_the_same_thing)
{
    goal goal;
    std::string reason;
    ASSERT_TRUE(goal_parse("log nothing", goal, reason));
    for (int64_t n = 1; n <= 20; n++)
        write_line(n, n, n % 2 == 0 ? "log" : "other");

    const std::vector<json_ptr> lines = wait_history(goal, desk_path(""), 3);

    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(json_get_number(lines[0].get(), "n"), 16);
    EXPECT_EQ(json_get_number(lines[2].get(), "n"), 20);
}
