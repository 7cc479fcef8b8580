// SPDX-License-Identifier: MIT
// SIGINT: the whole shutdown, exit status -1, no exit hooks; and that it comes only while the loop waits.
#include "core/camwarden.h"
#include "module_in_table.h"

#include "fakes/children.h"
#include "fakes/daemon_desk.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>

static void module_ends(void *)
{
    record_call("module exit()");
}

static struct module lamp()
{
    struct module entry = module_with_methods("lamp", nullptr, 0);
    entry.exit = module_ends;
    return entry;
}

struct interrupt : kit_desk {
    interrupt() : entered(lamp()) {}

    // Stands where call ends the line, in order; -1 when it is missing.
    static long place(const texts &story, const std::string &line)
    {
        auto found = std::find(story.begin(), story.end(), line);
        return found == story.end() ? -1 : found - story.begin();
    }

    static void expect_in_order(const texts &story, const texts &expected)
    {
        long last = -1;
        for (const std::string &line : expected) {
            long here = place(story, line);
            EXPECT_GT(here, last) << line;
            last = here;
        }
    }

    module_in_table entered;
};

static const char goodbye[] = "info: kivo_camwarden says goodbye!\n";

TEST_F(interrupt, ends_the_process_after_an_orderly_shutdown_without_the_exit_hooks)
{
    cloud_pair cloud;
    kit.otd_sock = cloud.daemon;
    kit.timer_fd = dup(STDERR_FILENO);
    kit.mc_fd = selvar_nvram_init(nullptr);
    selvar_nvram_register_notify("nvram", "power");
    const std::string last_id = std::to_string(store.next_notification_id - 1);
    bus.player_listens = true;
    kit.sound_fd = sound_init(nullptr);
    watch_close(kit.otd_sock);
    watch_close(kit.timer_fd);
    std::string closes_timer = "close(" + std::to_string(kit.timer_fd) + ")";
    std::string closes_cloud = "close(" + std::to_string(kit.otd_sock) + ")";

    child_result child = run_in_child([] { kit_sigint_handler(SIGINT); });

    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exit_status, 255);
    expect_in_order(
        child.story,
        { "libselvar_unregister_notification(mem, default, led_cmd, " + last_id + ", none, none, 0, 0)",
          "libselvar_unregister_notification(nvram, default, power, " + last_id + ", none, none, 0, 0)",
          "libselvar_close()", closes_timer, closes_cloud, "torvu_camwarden_exit()", "wrax_rcv_destroy()",
          "wrax_rcv_global_exit()", goodbye });
    EXPECT_EQ(child.story.back(), goodbye);
    EXPECT_EQ(place(child.story, "module exit()"), -1);
    close(kit.timer_fd);
    selvar_nvram_exit();
    sound_exit();
}

TEST_F(interrupt, unregisters_whether_or_not_the_store_is_open)
{
    child_result child = run_in_child([] { kit_sigint_handler(SIGINT); });
    EXPECT_EQ(child.exit_status, 255);
    EXPECT_EQ(std::count(child.story.begin(), child.story.end(), "err: selvar uninit.\n"), 41);
    EXPECT_EQ(child.story.back(), goodbye);
}

struct descriptors_that_are_none : interrupt, testing::WithParamInterface<int> {};

TEST_P(descriptors_that_are_none, are_not_closed)
{
    kit.timer_fd = GetParam();
    kit.otd_sock = GetParam();
    watch_close(GetParam());
    child_result child = run_in_child([] { kit_sigint_handler(SIGINT); });
    EXPECT_EQ(place(child.story, "close(" + std::to_string(GetParam()) + ")"), -1);
    EXPECT_EQ(child.story.back(), goodbye);
}

INSTANTIATE_TEST_SUITE_P(of_timer_and_cloud, descriptors_that_are_none, testing::Values(0, -1));

// The daemon runs whole in the child; at its second wait it is interrupted.
static void interrupt_while_waiting()
{
    libc.on_poll = [waits = 0](pollfd *, nfds_t, const timespec *timeout, const sigset_t *mask) mutable {
        if (++waits < 2)
            return 0;
        raise(SIGINT);
        record_call("the interrupt is pending");
        return real_ppoll(nullptr, 0, timeout, mask);
    };
    camwarden_main();
}

TEST_F(interrupt, is_served_while_the_loop_waits)
{
    child_result child = run_in_child(interrupt_while_waiting);
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exit_status, 255);
    expect_in_order(child.story, { "the interrupt is pending", "torvu_camwarden_exit()", goodbye });
}

// Under steady traffic every wait finds something ready, and no signal is delivered inside it.
static void interrupt_under_traffic()
{
    libc.on_poll = [waits = 0](pollfd *entries, nfds_t, const timespec *, const sigset_t *) mutable {
        entries[0].revents = 0;
        if (++waits == 1)
            raise(SIGINT);
        record_call("wait %d", waits);
        return waits < 5 ? 0 : -1;
    };
    camwarden_main();
}

TEST_F(interrupt, is_served_under_steady_traffic_too)
{
    child_result child = run_in_child(interrupt_under_traffic);
    EXPECT_EQ(child.exit_status, 255);
    EXPECT_EQ(place(child.story, "wait 2"), -1) << "it was served before the next wait";
    EXPECT_EQ(child.story.back(), goodbye);
}

static int32_t interrupted_start(void *)
{
    raise(SIGINT);
    record_call("module init goes on");
    return 0;
}

TEST_F(interrupt, at_start_up_is_served_at_the_first_wait)
{
    module_table[0].init = interrupted_start;
    libc.on_poll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        record_call("wait");
        return -1;
    };
    child_result child = run_in_child([] { camwarden_main(); });
    EXPECT_EQ(child.exit_status, 255);
    expect_in_order(child.story, { "module init goes on", "torvu_camwarden_exit()", goodbye });
    EXPECT_EQ(place(child.story, "wait"), -1);
}
