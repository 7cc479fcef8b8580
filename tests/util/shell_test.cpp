// SPDX-License-Identifier: MIT
// A shell command, and the interrupt that waits meanwhile.
#include "util/shell.h"

#include "fakes/record.h"
#include "fakes/system_calls.h"

#include <csignal>

struct shell : testing::Test {
    shell()
    {
        system_reset();
        record_clear();
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGINT);
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }

    ~shell() override
    {
        struct sigaction ignored = {};
        ignored.sa_handler = SIG_IGN; // drops what is pending
        struct sigaction handled = {};
        sigaction(SIGINT, &ignored, &handled);
        sigaction(SIGINT, &handled, nullptr);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    static bool interrupt_waits()
    {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGINT) == 1;
    }

    sigset_t before = {};
};

TEST_F(shell, runs_the_command_and_returns_its_status)
{
    libc.system_result = 256;
    EXPECT_EQ(shell_run("df /mnt/sdcard > /tmp/sdcardinfo"), 256);
    EXPECT_EQ(calls(), texts{ R"(system("df /mnt/sdcard > /tmp/sdcardinfo"))" });
    EXPECT_FALSE(interrupt_waits());
}

TEST_F(shell, keeps_an_interrupt_that_waits)
{
    raise(SIGINT);
    shell_run("true");
    EXPECT_TRUE(interrupt_waits());
}
