// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libkivo_util.h"

#include <sys/stat.h>
#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <thread>

static std::string logged(int level, const std::string &text)
{
    const json_ptr line = json_of("who", "daemon");
    json_set_text(line.get(), "what", "log");
    json_set_number(line.get(), "level", level);
    json_set_text(line.get(), "text", text);
    return json_text(line.get());
}

static void log_one_of_each(void)
{
    log_debug("debug\n");
    log_info("info\n");
    log_warning("warning\n");
    log_err("err\n");
}

STORY(log, each_function_logs_at_its_own_level)
{
    desk_page();
    log_one_of_each();
    const std::vector<std::string> expected = {
        logged(LOG_DEBUG, "debug\n"),
        logged(LOG_INFO, "info\n"),
        logged(LOG_WARNING, "warning\n"),
        logged(LOG_ERR, "err\n"),
    };
    EXPECT_EQ(desk_journal_of("log"), expected);
}

STORY(log, a_line_stands_in_the_journal_before_the_call_returns)
{
    desk_page();
    for (size_t count = 1; count <= 3; count++) {
        log_info("one more");
        EXPECT_EQ(desk_journal_of("log").size(), count);
    }
}

STORY(log, the_text_is_kept_as_it_was_formatted)
{
    desk_page();
    log_info("%s, %d: \"%.3s\" at 0x%08x", "main", -7, "abcdef", 0x2aU);
    log_info("no end");
    log_info("two\nlines\n");
    log_info("\n");
    log_info("%s", "");
    const std::vector<std::string> expected = {
        logged(LOG_INFO, "main, -7: \"abc\" at 0x0000002a"),
        logged(LOG_INFO, "no end"),
        logged(LOG_INFO, "two\nlines\n"),
        logged(LOG_INFO, "\n"),
        logged(LOG_INFO, ""),
    };
    EXPECT_EQ(desk_journal_of("log"), expected);
}

STORY(log, bytes_that_are_no_text_do_not_break_the_line)
{
    desk_page();
    const std::string odd = "\x01\x1f\"\\/\x7f\x80\xff\xc3\xa9\xe2\x82";
    log_info("%s", odd.c_str());
    log_info("next");
    EXPECT_EQ(desk_journal_of("log"), (std::vector{ logged(LOG_INFO, odd), logged(LOG_INFO, "next") }));
}

STORY(log, a_very_long_text_is_kept_whole)
{
    desk_page();
    const std::string text(300000, 'x');
    log_info("%s", text.c_str());
    EXPECT_EQ(desk_journal_of("log"), std::vector{ logged(LOG_INFO, text) });
}

STORY(log, percent_m_names_the_callers_error)
{
    desk_page();
    errno = ECONNREFUSED;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat" // %m is the C library's own
    log_err("cannot connect: %m");
#pragma GCC diagnostic pop
    EXPECT_EQ(desk_journal_of("log"), std::vector{ logged(LOG_ERR, "cannot connect: Connection refused") });
}

STORY(log, errno_is_the_same_after_a_line)
{
    desk_page();
    errno = EXDEV;
    log_err("first\n"); // opens the page and the journal
    EXPECT_EQ(errno, EXDEV);
    log_err("second\n");
    EXPECT_EQ(errno, EXDEV);
}

STORY(log, what_is_less_urgent_than_the_level_is_dropped)
{
    const std::map<int, size_t> lines_at_level = { { 0, 0 }, { 1, 0 }, { 2, 0 }, { 3, 1 },
                                                   { 4, 2 }, { 5, 2 }, { 6, 3 }, { 7, 4 } };
    desk_page();
    for (const auto &[level, lines] : lines_at_level) {
        const size_t before = desk_journal_of("log").size();
        log_set_syslog_level(level);
        log_one_of_each();
        EXPECT_EQ(desk_journal_of("log").size() - before, lines) << "at level " << level;
    }
}

STORY(log, a_line_that_is_dropped_is_not_even_formatted)
{
    desk_page();
    int formatted = 0;
    log_set_syslog_level(LOG_ERR);
    log_debug("123%n", &formatted);
    EXPECT_EQ(formatted, 0);
    log_err("123%n", &formatted);
    EXPECT_EQ(formatted, 3);
}

STORY(log, without_a_page_lines_go_to_standard_error)
{
    desk_catch_stderr();
    log_debug("with its end\n");
    log_err("%s", "left open");
    log_info("last");
    EXPECT_EQ(desk_stderr(), "with its end\nleft open\nlast\n");
    EXPECT_EQ(desk_file(desk_path("journal")), "");
}

STORY(log, a_journal_that_cannot_be_written_leaves_standard_error)
{
    desk_page();
    ASSERT_EQ(mkdir(desk_path("journal").c_str(), 0700), 0); // where the file should be
    desk_catch_stderr();
    log_err("still said\n");
    EXPECT_EQ(desk_stderr(), "still said\n");
}

STORY(log, lines_of_several_threads_stay_whole_and_none_is_lost)
{
    constexpr int threads = 4;
    constexpr int lines = 200;
    std::vector<std::thread> writers;
    desk_page();
    writers.reserve(threads);
    for (int i = 0; i < threads; i++)
        writers.emplace_back([i] {
            for (int line = 0; line < lines; line++)
                log_info("%d:%d", i, line);
        });
    for (std::thread &writer : writers)
        writer.join();

    std::map<std::string, int> seen;
    for (const std::string &line : desk_journal_of("log"))
        seen[line]++;
    EXPECT_EQ(seen.size(), size_t{ threads * lines });
    EXPECT_EQ(seen[logged(LOG_INFO, "3:199")], 1);
}

STORY(log, without_a_page_too_lines_of_several_threads_stay_whole)
{
    desk_catch_stderr();
    const std::string text(200, 'a');
    const auto write_lines = [&text] {
        for (int line = 0; line < 100; line++)
            log_info("%s", text.c_str());
    };
    std::thread other(write_lines);
    write_lines();
    other.join();
    std::string expected;
    for (int line = 0; line < 200; line++)
        expected += text + "\n";
    EXPECT_EQ(desk_stderr(), expected);
}

STORY(log, the_level_may_be_changed_while_others_log)
{
    desk_page();
    std::atomic<bool> over = false;
    std::thread writer([&over] {
        while (!over)
            log_debug("line");
    });
    for (int i = 0; i < 1000; i++)
        log_set_syslog_level(i % 2 == 0 ? LOG_ERR : LOG_WARNING);
    over = true;
    writer.join();
    log_set_syslog_level(LOG_DEBUG);
    const size_t before = desk_journal_of("log").size();
    log_debug("heard again");
    EXPECT_EQ(desk_journal_of("log").size(), before + 1);
}
