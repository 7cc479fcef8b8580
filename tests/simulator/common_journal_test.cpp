// SPDX-License-Identifier: MIT
#include "harness.h"

#include "common/journal.h"
#include "common/page.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

static std::string journal_text(void)
{
    return desk_file(desk_path("journal"));
}

static void append_to_file(const std::string &bytes)
{
    std::ofstream(desk_path("journal"), std::ios::binary | std::ios::app) << bytes;
}

// The whole lines as a reader takes them: what is no JSON object is skipped.
static std::vector<std::string> readable_lines(void)
{
    std::vector<std::string> lines;
    std::istringstream text(journal_text());
    for (std::string line; std::getline(text, line);)
        if (json_object_is_type(json_parse(line).get(), json_type_object))
            lines.push_back(line);
    return lines;
}

// A writer that holds the lock, leaves these bytes behind and is killed.
static void dies_after_writing(const std::string &bytes)
{
    const int status = desk_in_process([&bytes] {
        EXPECT_TRUE(page_lock_journal(page_open()));
        append_to_file(bytes);
        raise(SIGKILL);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
}

STORY(journal, a_line_has_number_time_who_what_and_the_fields_in_this_order)
{
    desk_page();
    EXPECT_TRUE(journal_write("store", "set", json_parse(R"({"space":"nvram","value":"a/b"})").release()));
    desk_clock_step(3204 - desk_clock_ms());
    EXPECT_TRUE(journal_write("cloud", "left", nullptr));
    EXPECT_TRUE(journal_write("cloud", "connected", json_object_new_object()));
    EXPECT_EQ(journal_text(), R"({"n":1,"ms":0,"who":"store","what":"set","space":"nvram","value":"a/b"})"
                              "\n"
                              R"({"n":2,"ms":3204,"who":"cloud","what":"left"})"
                              "\n"
                              R"({"n":3,"ms":3204,"who":"cloud","what":"connected"})"
                              "\n");
}

STORY(journal, the_fields_are_taken)
{
    desk_page();
    json_object *fields = json_of("key", "power").release();
    json_object_get(fields);
    journal_write("store", "set", fields);
    EXPECT_EQ(json_object_put(fields), 1) << "nobody has put it";
}

STORY(journal, without_a_page_nothing_is_written_and_the_fields_are_taken)
{
    json_object *fields = json_of("key", "power").release();
    json_object_get(fields);
    EXPECT_FALSE(journal_write("store", "set", fields));
    EXPECT_EQ(json_object_put(fields), 1);
    EXPECT_EQ(journal_text(), "");
}

STORY(journal, errno_stays)
{
    desk_page();
    errno = EXDEV;
    journal_write("store", "set", nullptr);
    EXPECT_EQ(errno, EXDEV);
}

// On two threads.
static void write_lines(int count)
{
    const auto write_share = [count] {
        for (int i = 0; i < count / 2; i++)
            EXPECT_TRUE(journal_write("test", "line", nullptr));
    };
    std::thread other(write_share);
    write_share();
    other.join();
}

STORY(journal, lines_of_many_threads_and_processes_are_whole_and_count_on)
{
    desk_page();
    EXPECT_TRUE(journal_write("test", "line", nullptr)); // a fork shares the open file
    const pid_t one = desk_begin_process([] { write_lines(200); });
    const pid_t other = desk_begin_process([] { write_lines(200); });
    write_lines(200);
    EXPECT_EQ(desk_end_process(one), 0);
    EXPECT_EQ(desk_end_process(other), 0);
    EXPECT_EQ(desk_journal_of("line").size(), 601U);
}

STORY(journal, odd_bytes_never_break_a_line)
{
    desk_page();
    std::string odd;
    for (int byte = 0; byte < 256; byte++)
        odd += static_cast<char>(byte);
    const json_ptr fields = json_of("text", odd);
    EXPECT_TRUE(journal_write("a\nb", "c\"d", json_object_get(fields.get())));
    EXPECT_TRUE(journal_write("test", "next", nullptr));

    const std::vector<json_ptr> lines = desk_journal();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(json_get_text(lines[0].get(), "text"), odd);
    EXPECT_EQ(json_get_text(lines[0].get(), "who"), "a\nb");
    EXPECT_EQ(json_get_text(lines[0].get(), "what"), "c\"d");
}

STORY(journal, a_very_long_line_goes_out_whole)
{
    desk_page();
    const std::string text(5000000, 'x');
    EXPECT_TRUE(journal_write("test", "long", json_of("text", text).release()));
    const std::vector<json_ptr> lines = desk_journal();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(json_get_text(lines[0].get(), "text"), text);
}

STORY(journal, it_goes_on_after_a_writer_died_before_its_line)
{
    desk_page();
    journal_write("test", "first", nullptr);
    dies_after_writing("");
    EXPECT_TRUE(journal_write("test", "second", nullptr));
    EXPECT_EQ(journal_text(), "{\"n\":1,\"ms\":0,\"who\":\"test\",\"what\":\"first\"}\n"
                              "{\"n\":2,\"ms\":0,\"who\":\"test\",\"what\":\"second\"}\n");
}

STORY(journal, a_line_whose_writer_died_half_way_is_ended_and_its_number_given_again)
{
    desk_page();
    journal_write("test", "first", nullptr);
    dies_after_writing(R"({"n":2,"ms":0,"who":"te)");
    EXPECT_TRUE(journal_write("test", "second", nullptr));
    EXPECT_TRUE(journal_write("test", "third", nullptr));
    EXPECT_EQ(readable_lines(), (std::vector<std::string>{
                                    R"({"n":1,"ms":0,"who":"test","what":"first"})",
                                    R"({"n":2,"ms":0,"who":"test","what":"second"})",
                                    R"({"n":3,"ms":0,"who":"test","what":"third"})",
                                }));
}

STORY(journal, a_line_whose_writer_died_before_counting_it_counts)
{
    desk_page();
    dies_after_writing("{\"n\":1,\"ms\":0,\"who\":\"test\",\"what\":\"first\"}\n");
    EXPECT_TRUE(journal_write("test", "second", nullptr));
    EXPECT_EQ(desk_journal_of("first").size(), 1U);
    EXPECT_EQ(desk_journal_of("second").size(), 1U);
}

STORY(journal, a_line_that_ends_a_broken_one_counts_too_when_its_writer_died)
{
    desk_page();
    dies_after_writing(R"({"n":1,"ms":0,"wh)");
    dies_after_writing("\n{\"n\":1,\"ms\":0,\"who\":\"test\",\"what\":\"first\"}\n");
    // The second writer found the broken line, as any writer does before it writes.
    page_open()->journal_end = 17;
    page_open()->journal_cut = true;
    EXPECT_TRUE(journal_write("test", "second", nullptr));
    EXPECT_EQ(readable_lines(), (std::vector<std::string>{
                                    R"({"n":1,"ms":0,"who":"test","what":"first"})",
                                    R"({"n":2,"ms":0,"who":"test","what":"second"})",
                                }));
}

static void limit_file_size(rlim_t bytes)
{
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

STORY(journal, a_full_disk_costs_a_line_but_never_the_next_one)
{
    desk_page();
    signal(SIGXFSZ, SIG_IGN);
    EXPECT_TRUE(journal_write("test", "first", nullptr));
    for (rlim_t room :
         { rlim_t{ 0 }, rlim_t{ 5 }, rlim_t{ 1 } }) { // nothing of the line fits, then some of it
        limit_file_size(journal_text().size() + room);
        EXPECT_FALSE(journal_write("test", "lost", nullptr));
        EXPECT_FALSE(journal_write("test", "lost", nullptr));
        limit_file_size(RLIM_INFINITY);
        EXPECT_TRUE(journal_write("test", "kept", nullptr));
    }
    EXPECT_EQ(readable_lines(), (std::vector<std::string>{
                                    R"({"n":1,"ms":0,"who":"test","what":"first"})",
                                    R"({"n":2,"ms":0,"who":"test","what":"kept"})",
                                    R"({"n":3,"ms":0,"who":"test","what":"kept"})",
                                    R"({"n":4,"ms":0,"who":"test","what":"kept"})",
                                }));
}

STORY(journal, a_new_page_goes_on_after_an_old_journal)
{
    append_to_file("{\"n\":77,\"ms\":9,\"who\":\"test\",\"what\":\"old\"}\n{\"n\":78,");
    desk_page();
    EXPECT_TRUE(journal_write("test", "new", nullptr));
    EXPECT_EQ(readable_lines().back(), R"({"n":1,"ms":0,"who":"test","what":"new"})");
}

STORY(journal, no_signal_handler_runs_while_the_lock_is_held)
{
    static std::atomic<int> runs = 0;
    static std::atomic<int> runs_under_lock = 0;
    struct sigaction action = {};
    // The only writer is the thread that the handler interrupts.
    action.sa_handler = [](int) {
        runs++;
        if (pthread_mutex_trylock(&page_open()->journal_lock) == 0)
            page_unlock_journal(page_open());
        else
            runs_under_lock++;
    };
    sigaction(SIGUSR1, &action, nullptr);
    desk_page();

    std::atomic<bool> over = false;
    std::thread writer([&over] {
        while (!over)
            journal_write("test", "line", nullptr);
    });
    EXPECT_TRUE(desk_wait([&writer] {
        for (int i = 0; i < 20; i++)
            pthread_kill(writer.native_handle(), SIGUSR1);
        return runs > 200;
    }));
    over = true;
    writer.join();
    EXPECT_EQ(runs_under_lock, 0);
}
