// SPDX-License-Identifier: MIT
// Shell commands and the log-saving script.
#include "handlers/maintenance.h"

#include "fakes/daemon_desk.h"
#include "fakes/memory.h"

#include <sys/wait.h>

struct commands : kit_desk {
    char out[4096] = "as it was";
};

TEST_F(commands, without_a_buffer_are_started_and_nothing_is_collected)
{
    run_cmd("/mnt/data/bin/log2ky.sh", nullptr, 0);
    EXPECT_EQ(story(), (texts{ "debug: run cmd: /mnt/data/bin/log2ky.sh\n",
                               R"(popen("/mnt/data/bin/log2ky.sh", r))", "pclose()" }));
}

TEST_F(commands, that_cannot_be_started_leave_the_buffer_alone)
{
    libc.popen_fails = true;
    run_cmd("x", out, sizeof(out));
    EXPECT_STREQ(out, "as it was");
    EXPECT_EQ(story(), (texts{ "debug: run cmd: x\n", R"(popen("x", r))" }));
}

TEST_F(commands, bring_their_whole_output)
{
    libc.popen_output = "first\nsecond\nthird without an end";
    run_cmd("x", out, sizeof(out));
    EXPECT_STREQ(out, "first\nsecond\nthird without an end");
    EXPECT_EQ(calls(), (texts{ R"(popen("x", r))", "pclose()" }));
    EXPECT_FALSE(log_mentions("too small"));
}

TEST_F(commands, without_output_leave_an_empty_text)
{
    run_cmd("x", out, sizeof(out));
    EXPECT_STREQ(out, "");
}

TEST_F(commands, with_2000_characters_in_880_bytes_yield_the_first_879_and_a_warning)
{
    libc.popen_output = std::string(2000, 'x');
    memset(out, '#', sizeof(out));
    run_cmd("x", out, 880);
    EXPECT_EQ(std::string(out), std::string(879, 'x'));
    EXPECT_EQ(out[880], '#');
    EXPECT_TRUE(logged("warning: outsize (880) too small\n"));
    EXPECT_TRUE(called("pclose()"));
}

TEST_F(commands, fill_the_room_to_the_last_character_without_a_warning)
{
    libc.popen_output = "1234567";
    run_cmd("x", out, 8);
    EXPECT_STREQ(out, "1234567");
    EXPECT_FALSE(log_mentions("too small"));
}

TEST_F(commands, whose_later_line_does_not_fit_are_cut_in_that_line)
{
    libc.popen_output = "abc\ndefghi\njkl\n";
    run_cmd("x", out, 8);
    EXPECT_STREQ(out, "abc\ndef");
    EXPECT_EQ(log_lines(), (texts{ "debug: run cmd: x\n", "warning: outsize (8) too small\n" }));
}

TEST_F(commands, with_a_line_after_the_room_is_used_up_are_cut_with_a_warning)
{
    libc.popen_output = "123456\nmore\n";
    run_cmd("x", out, 8);
    EXPECT_STREQ(out, "123456\n");
    EXPECT_TRUE(logged("warning: outsize (8) too small\n"));
}

TEST_F(commands, really_run_in_a_shell)
{
    libc.popen_is_real = true;
    run_cmd("echo one; echo two | tr a-z A-Z", out, sizeof(out));
    EXPECT_STREQ(out, "one\nTWO\n");
}

TEST_F(commands, that_really_run_leave_no_child_behind)
{
    libc.popen_is_real = true;
    run_cmd("true", nullptr, 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(commands, the_log_script_starts_with_an_empty_argument_list_and_is_not_waited_for)
{
    run_log2tf();
    script_has_ended();
    EXPECT_EQ(executed(), texts{ "exec(/mnt/data/bin/log2tf.sh, null)" });
    EXPECT_EQ(story(),
              (texts{ "info: Run: /mnt/data/bin/log2tf.sh\n", "info: This is the parent process\n" }));
}

TEST_F(commands, the_log_script_that_finds_no_child_is_logged_as_not_run)
{
    allocation_fails(1);
    run_log2tf();
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(executed(), texts{});
    EXPECT_EQ(story(), (texts{ "info: Run: /mnt/data/bin/log2tf.sh\n",
                               "err: Can not run /mnt/data/bin/log2tf.sh: Cannot allocate memory\n" }));
}
