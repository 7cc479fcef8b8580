// SPDX-License-Identifier: MIT
// Programs that are started and not waited for.
#include "util/children.h"

#include "fakes/memory.h"
#include "fakes/system_calls.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

struct children_desk : testing::Test {
    children_desk()
    {
        system_reset();
    }
};

// Waits until every child has ended and looks at one status without taking it from the daemon.
static int status_of_a_child()
{
    siginfo_t information = {};
    EXPECT_EQ(waitid(P_ALL, 0, &information, WEXITED | WNOWAIT), 0);
    return information.si_status;
}

static bool has_children()
{
    siginfo_t information = {};
    return waitid(P_ALL, 0, &information, WEXITED | WNOWAIT | WNOHANG) == 0 || errno != ECHILD;
}

TEST_F(children_desk, a_program_is_started_with_an_empty_argument_list)
{
    EXPECT_EQ(child_start("/mnt/data/bin/some.sh"), 0);
    status_of_a_child();
    EXPECT_EQ(executed(), texts{ "exec(/mnt/data/bin/some.sh, null)" });
    child_reap();
}

TEST_F(children_desk, a_program_starts_with_its_signals_open_whatever_the_thread_has_blocked)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    child_start("/mnt/data/bin/some.sh");
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    status_of_a_child();

    const sigset_t started = executed_mask();
    for (int signal : { SIGINT, SIGTERM, SIGCHLD, SIGALRM, SIGUSR1 }) {
        EXPECT_EQ(sigismember(&started, signal), 0) << signal;
        EXPECT_EQ(sigismember(&after, signal), 1) << "the thread keeps its own, " << signal;
    }
    child_reap();
}

TEST_F(children_desk, what_cannot_be_executed_ends_with_status_127)
{
    child_start("/no/such/program");
    EXPECT_EQ(status_of_a_child(), 127);
    child_reap();
}

TEST_F(children_desk, reaping_leaves_no_zombie)
{
    child_start("/first");
    child_start("/second");
    status_of_a_child();
    for (int i = 0; i < 1000 && has_children(); i++) {
        status_of_a_child();
        child_reap();
    }
    EXPECT_FALSE(has_children());
}

TEST_F(children_desk, a_child_of_another_is_left_to_it)
{
    pid_t foreign = fork();
    if (foreign == 0)
        _exit(5);
    EXPECT_EQ(status_of_a_child(), 5);
    child_reap();
    int status = 0;
    EXPECT_EQ(waitpid(foreign, &status, 0), foreign);
    EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST_F(children_desk, a_child_that_could_not_be_remembered_is_not_started)
{
    allocation_fails(1);
    EXPECT_EQ(child_start("/mnt/data/bin/some.sh"), -1);
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(executed(), texts{});
    EXPECT_FALSE(has_children());
}
