// SPDX-License-Identifier: MIT
// An interrupt is not lost while the tick runs a shell command, although system(3) has it ignored meanwhile.
// Each case is a process of its own with the daemon's signals: SIGINT blocked, and its handler in place.
#include "core/camwarden.h"
#include "core/loop.h"
#include "tick_desk.h"

#include "fakes/children.h"

#include <csignal>

struct interrupted_tick : tick {
    interrupted_tick()
    {
        kit.bind_wait_time = 1000;
        at(2800);
    }

    static void ticks_like_the_daemon()
    {
        loop_block_sigint();
        struct sigaction on_interrupt = {};
        on_interrupt.sa_handler = kit_sigint_handler;
        sigaction(SIGINT, &on_interrupt, nullptr);
        tick_handler(kit.timer_fd);
        record_call("the tick is over");
    }

    static bool interrupt_waits()
    {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGINT) == 1;
    }

    // What the loop does before its next wait, and what is seen then.
    static texts then_the_loop_waits(void (*before)())
    {
        child_result child = run_in_child([before] {
            before();
            ticks_like_the_daemon();
            record_call("an interrupt %s", interrupt_waits() ? "waits" : "does not wait");
            libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) { return -1; };
            loop_run();
        });
        return child.story;
    }

    static bool has(const texts &story, const std::string &line)
    {
        return std::find(story.begin(), story.end(), line) != story.end();
    }
};

static const char goodbye[] = "info: kivo_camwarden says goodbye!\n";

TEST_F(interrupted_tick, serves_one_that_was_pending_before_the_command)
{
    const texts story = then_the_loop_waits([] {
        loop_block_sigint();
        raise(SIGINT);
        libc.on_system = [](const char *) { return real_system("true"); };
    });
    EXPECT_TRUE(has(story, R"(system("ifconfig wlan0 down"))"));
    EXPECT_TRUE(has(story, "the tick is over")) << "it is not served inside the tick";
    EXPECT_TRUE(has(story, "an interrupt waits"));
    EXPECT_TRUE(has(story, goodbye));
}

TEST_F(interrupted_tick, serves_one_that_comes_while_the_command_runs)
{
    const texts story = then_the_loop_waits(
        [] { libc.on_system = [](const char *) { return real_system("kill -INT $PPID"); }; });
    EXPECT_TRUE(has(story, "an interrupt waits"));
    EXPECT_TRUE(has(story, goodbye));
}

TEST_F(interrupted_tick, makes_none_up)
{
    const texts story =
        then_the_loop_waits([] { libc.on_system = [](const char *) { return real_system("true"); }; });
    EXPECT_TRUE(has(story, "an interrupt does not wait"));
    EXPECT_FALSE(has(story, goodbye));
}
