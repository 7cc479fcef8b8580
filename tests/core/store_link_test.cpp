// SPDX-License-Identifier: MIT
// The link to the store: served, lost, brought back.
#include "core/camwarden.h"

#include "fakes/children.h"
#include "fakes/daemon_desk.h"

struct store_link : store_open_desk {};

TEST_F(store_link, that_is_readable_is_served)
{
    has_entries({ kit.mc_fd });
    EXPECT_EQ(selvar_close_retry(), 0);
    EXPECT_EQ(story(), texts{ "libselvar_xhandle_response()" });
    EXPECT_EQ(kit.nfds, 1);
}

TEST_F(store_link, that_fails_is_closed_after_a_pause_of_100_ms)
{
    has_entries({ 101, kit.mc_fd, 102 });
    store.response_result = false;
    EXPECT_EQ(selvar_close_retry(), 0);
    EXPECT_EQ(story(), (texts{ "libselvar_xhandle_response()", "err: selvar response failed.\n",
                               "debug: selvar_close_retry\n", "usleep(100000)", "libselvar_close()" }));
    EXPECT_EQ(kit.mc_fd, 0);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.pollfds[0].fd, 101);
    EXPECT_EQ(kit.pollfds[1].fd, 102);
}

TEST_F(store_link, that_is_closed_leaves_the_poll_set_with_the_slot_behind_it)
{
    has_entries({ kit.mc_fd, 101 });
    kit.pollfds[2].fd = 999;
    selvar_close();
    EXPECT_EQ(kit.nfds, 1);
    EXPECT_EQ(kit.pollfds[0].fd, 101);
    EXPECT_EQ(kit.pollfds[1].fd, 999);
    EXPECT_EQ(calls(), texts{ "libselvar_close()" });
}

TEST_F(store_link, that_is_not_in_the_poll_set_is_closed_with_a_warning)
{
    has_entries({ 101 });
    selvar_close();
    EXPECT_EQ(story(), (texts{ "warning: kit.mc_fd (40) not in pollfds.\n", "libselvar_close()" }));
    EXPECT_EQ(kit.mc_fd, 0);
    EXPECT_EQ(kit.nfds, 1);
}

TEST_F(store_link, that_is_down_is_not_closed_again)
{
    kit.mc_fd = 0;
    selvar_close();
    kit.mc_fd = -1;
    selvar_close();
    EXPECT_EQ(story(), texts{});
}

struct lost_store : store_link {
    lost_store()
    {
        selvar_nvram_exit();
        kit.mc_fd = 0;
        platform.monotonic_s = 4321;
        record_clear();
    }
};

TEST_F(lost_store, comes_back_into_the_poll_set_with_its_keys)
{
    has_entries({ 101 });
    selvar_connect_retry();
    EXPECT_EQ(kit.mc_fd, 40);
    EXPECT_EQ(kit.reconnect_time, 4321U);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(kit.pollfds[1].fd, 40);
    EXPECT_EQ(kit.pollfds[1].events, POLLIN);
    EXPECT_TRUE(
        in_order({ "warning: Retry connecting to selvar...\n", "libselvar_config_open(0)",
                   "info: Connected to selvar.\n", "info: selvar sockfd: 40\n",
                   "libselvar_register_notification(mem, default, led_cmd, yes, yes, yes, 0, 0)",
                   "libselvar_register_notification(nvram, default, loud_detection_enable, yes, yes, yes, 0, "
                   "0)" }));
}

TEST_F(lost_store, does_not_become_starting_again)
{
    selvar_connect_retry();
    EXPECT_FALSE(called(mem_set("dev_status", "starting")));
}

TEST_F(lost_store, delivers_to_the_daemon_again)
{
    selvar_connect_retry();
    store_notify_text("nvram", "flip", "on");
    selvar_close_retry();
    EXPECT_EQ(kit.flip, 1);
}

TEST_F(lost_store, that_stays_away_leaves_the_link_down)
{
    store.open_fails = true;
    selvar_connect_retry();
    EXPECT_EQ(kit.mc_fd, -1);
    EXPECT_EQ(kit.nfds, 0);
    EXPECT_EQ(kit.reconnect_time, 4321U);
    EXPECT_EQ(log_lines(),
              (texts{ "warning: Retry connecting to selvar...\n", "err: libselvar_open faild.\n" }));
}

TEST_F(lost_store, as_the_tenth_descriptor_ends_the_process_after_its_keys_are_registered)
{
    has_entries({ 200, 201, 202, 203, 204, 205, 206, 207, 208 });
    child_result child = run_in_child(selvar_connect_retry);
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exit_status, 255);
    ASSERT_GE(child.story.size(), 12U);
    EXPECT_EQ(child.story.back(), "info: pollfds[9]: 40\n");
    const std::string &verdict = child.story.at(child.story.size() - 11);
    EXPECT_TRUE(verdict.starts_with("err: "));
    EXPECT_NE(verdict.find("camwarden.cpp, "), std::string::npos);
    EXPECT_NE(verdict.find(": too many sockets to track\n"), std::string::npos);
    EXPECT_TRUE(child.story.at(child.story.size() - 12).starts_with("libselvar_register_notification("));
}

TEST_F(lost_store, as_the_ninth_descriptor_is_allowed)
{
    has_entries({ 200, 201, 202, 203, 204, 205, 206, 207 });
    selvar_connect_retry();
    EXPECT_EQ(kit.nfds, 9);
    EXPECT_FALSE(log_mentions("too many sockets"));
}
