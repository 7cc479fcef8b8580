// SPDX-License-Identifier: MIT
// Opening and closing the socket to the cloud client; the announcement of the methods.
#include "core/otd_link.h"
#include "module_in_table.h"
#include "spec/service.h"

#include "fakes/children.h"
#include "fakes/kit_desk.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

static const char *const announced[] = {
    "local.status",
    "local.bind",
    "kiVO.restore",
    "local.time",
    "set_wdr",
    "set_night_mode",
    "restart_device",
    "set_power",
    "set_flip",
    "set_watermark",
    "set_light",
    "set_improve_program",
    "get_prop",
    "set_motion_region",
    "get_motion_region",
    "set_motion_detection_enable",
    "set_full_color",
    "set_motor",
    "update_log",
    "kiVO.config_loglevel",
    "set_motion_record",
    "getAlarmConfig",
    "setAlarmConfig",
    "alarm_sound",
    "get_eth0_status_info",
    "get_hotspot_info",
    "set_hotspot_info",
    "app_feedback_device_rpc",
    "set_lsd_config",
    "get_lsd_config",
    "local.did",
    "get_properties",
    "set_properties",
};

static const std::string announces =
    "info: register_key(),keys_num is " + std::to_string(std::size(announced)) + "\n";

static std::string announcement(const std::string &method)
{
    return R"({"method":"register","key":")" + method + "\"}";
}

static texts announcements()
{
    texts all;
    for (const char *method : announced)
        all.push_back(announcement(method));
    return all;
}

struct connecting : kit_desk {
    cloud_listener listener;
};

struct nobody_listens : kit_desk {};

TEST_F(connecting, leads_to_the_loopback_port_and_announces_every_method_in_order)
{
    int socket = otd_connect();
    EXPECT_GT(socket, 0);
    EXPECT_EQ(calls().front(), "connect(127.0.0.1:54320)");
    EXPECT_EQ(sent_texts(), announcements());
    EXPECT_EQ(log_lines(), texts{ announces });
    close(socket);
}

TEST_F(connecting, announces_with_one_send_each_of_flags_zero)
{
    int socket = otd_connect();
    for (const sent_message &each : sends()) {
        EXPECT_EQ(each.fd, socket);
        EXPECT_EQ(each.flags, 0);
    }
    close(socket);
}

TEST_F(connecting, puts_nothing_between_the_announcements_on_the_wire)
{
    int socket = otd_connect();
    int cloud = listener.accepts();
    std::string expected;
    for (const std::string &each : announcements())
        expected += each;
    EXPECT_EQ(read_exactly(cloud, expected.size()), expected);
    close(cloud);
    close(socket);
}

TEST_F(connecting, makes_a_blocking_socket_that_never_delays_and_never_hangs)
{
    int socket = otd_connect();

    int on = 0;
    socklen_t length = sizeof(on);
    EXPECT_EQ(getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, &length), 0);
    EXPECT_NE(on, 0);

    timeval patience = {};
    length = sizeof(patience);
    EXPECT_EQ(getsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, &length), 0);
    EXPECT_EQ(patience.tv_sec, 1);
    EXPECT_EQ(patience.tv_usec, 0);

    EXPECT_EQ(fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(socket, F_GETFD) & FD_CLOEXEC, 0);
    close(socket);
}

// The descriptor that the next socket will get.
static int next_descriptor()
{
    int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
}

TEST_F(nobody_listens, the_connection_fails_with_its_line_and_leaves_no_socket)
{
    int expected = next_descriptor();
    watch_close(expected);
    EXPECT_EQ(otd_connect(), -1);
    EXPECT_EQ(calls(), (texts{ "connect(127.0.0.1:54320)", "close(" + std::to_string(expected) + ")" }));
    EXPECT_EQ(log_lines(), texts{ "err: Connect to otd error: 127.0.0.1:54320\n" });
}

TEST_F(nobody_listens, a_socket_that_cannot_be_made_is_reported_with_the_systems_text)
{
    libc.socket_fails = true;
    EXPECT_EQ(otd_connect(), -1);
    EXPECT_EQ(story(), texts{ "err: Create socket error: Too many open files\n" });
}

static const module_method methods[] = { { "get_lamp", nullptr }, { "set_lamp", nullptr } };
static const struct module lamp = module_with_methods("lamp", methods, 2);
static const struct module quiet = module_with_methods("quiet", nullptr, 3);

struct announcing : kit_desk {
    cloud_pair cloud;
};

TEST_F(announcing, goes_on_with_the_methods_of_the_feature_modules)
{
    module_in_table entered(lamp);
    register_key(cloud.daemon);
    texts expected = announcements();
    expected.push_back(announcement("get_lamp"));
    expected.push_back(announcement("set_lamp"));
    EXPECT_EQ(sent_texts(), expected);
    EXPECT_TRUE(log_mentions("info: register_key() "));
    EXPECT_TRUE(log_mentions(",module lamp methon is get_lamp\n"));
    EXPECT_TRUE(log_mentions(",module lamp methon is set_lamp\n"));
}

TEST_F(announcing, logs_each_module_method_before_it_is_sent)
{
    module_in_table entered(lamp);
    register_key(cloud.daemon);
    texts all = story();
    EXPECT_NE(all.at(all.size() - 2).find("methon is set_lamp\n"), std::string::npos);
}

TEST_F(announcing, passes_over_a_module_without_a_method_list)
{
    module_in_table entered(quiet);
    register_key(cloud.daemon);
    EXPECT_EQ(sent_texts(), announcements());
}

TEST_F(announcing, cuts_an_announcement_to_127_characters)
{
    const std::string name(200, 'x');
    const module_method long_method[] = { { name.c_str(), nullptr } };
    module_in_table entered(module_with_methods("talkative", long_method, 1));
    register_key(cloud.daemon);
    EXPECT_EQ(sent_texts().back(), announcement(name).substr(0, 127));
}

TEST_F(connecting, again_takes_the_socket_into_the_poll_set)
{
    kit.nfds = 2;
    platform.monotonic_s = 77;
    otd_connect_retry();
    EXPECT_GT(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 3);
    EXPECT_EQ(kit.pollfds[2].fd, kit.otd_sock);
    EXPECT_EQ(kit.pollfds[2].events, POLLIN);
    EXPECT_EQ(kit.reconnect_time, 77U);
    EXPECT_TRUE(in_order({ "warning: Retry connecting to kivo_client...\n", "connect(127.0.0.1:54320)",
                           announces, "info: Connected to kivo_client.\n",
                           "info: OTD sockfd: " + std::to_string(kit.otd_sock) + "\n" }));
    close(kit.otd_sock);
}

TEST_F(nobody_listens, connecting_again_leaves_the_link_down_and_stamps_the_attempt)
{
    platform.monotonic_s = 77;
    otd_connect_retry();
    EXPECT_EQ(kit.otd_sock, -1);
    EXPECT_EQ(kit.nfds, 0);
    EXPECT_EQ(kit.reconnect_time, 77U);
    EXPECT_EQ(log_lines(), (texts{ "warning: Retry connecting to kivo_client...\n",
                                   "err: Connect to otd error: 127.0.0.1:54320\n" }));
}

TEST_F(connecting, again_as_the_ninth_descriptor_is_allowed)
{
    kit.nfds = 8;
    otd_connect_retry();
    EXPECT_EQ(kit.nfds, 9);
    EXPECT_FALSE(log_mentions("too many sockets"));
    close(kit.otd_sock);
}

TEST_F(connecting, again_as_the_tenth_descriptor_ends_the_process_after_listing_them_all)
{
    kit.nfds = 9;
    for (int i = 0; i < 9; i++)
        kit.pollfds[i].fd = 200 + i;
    child_result child = run_in_child(otd_connect_retry);
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exit_status, 255);

    ASSERT_GE(child.story.size(), 11U);
    const std::string *last = &child.story.back();
    for (int i = 8; i >= 0; i--)
        EXPECT_EQ(last[i - 9], "info: pollfds[" + std::to_string(i) + "]: " + std::to_string(200 + i) + "\n");
    EXPECT_EQ(last->substr(0, 18), "info: pollfds[9]: ");
    EXPECT_EQ(last[-10].substr(0, 5), "err: ");
    EXPECT_NE(last[-10].find("otd_link.cpp, "), std::string::npos);
    EXPECT_NE(last[-10].find(": too many sockets to track\n"), std::string::npos);
}

struct closing : kit_desk {
    closing()
    {
        kit.otd_sock = cloud.daemon;
        watch_close(kit.otd_sock);
    }

    cloud_pair cloud;
};

TEST_F(closing, takes_the_socket_out_of_the_poll_set_and_closes_it)
{
    has_entries({ 101, kit.otd_sock, 102, 103 });
    kit.pollfds[4].fd = 999; // the slot after the last one moves down too
    int socket = kit.otd_sock;
    otd_close();
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 3);
    const int expected[] = { 101, 102, 103, 999 };
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(kit.pollfds[i].fd, expected[i]);
    EXPECT_EQ(story(), texts{ "close(" + std::to_string(socket) + ")" });
    EXPECT_TRUE(cloud.daemon_has_hung_up());
}

TEST_F(closing, a_full_poll_set_reads_no_slot_behind_it)
{
    has_entries({ 101, 102, 103, 104, 105, 106, 107, 108, 109, kit.otd_sock });
    otd_close();
    EXPECT_EQ(kit.nfds, 9);
    EXPECT_EQ(kit.timer_fd, 0);
}

TEST_F(closing, warns_when_the_socket_is_not_in_the_poll_set_and_closes_it_all_the_same)
{
    has_entries({ 101, 102 });
    int socket = kit.otd_sock;
    otd_close();
    EXPECT_EQ(kit.otd_sock, 0);
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(story(), (texts{ "warning: kit.otd_sock (" + std::to_string(socket) + ") not in pollfds.\n",
                               "close(" + std::to_string(socket) + ")" }));
}

TEST_F(closing, does_nothing_while_the_link_is_down)
{
    has_entries({ 0, -1 });
    for (int socket : { 0, -1 }) {
        kit.otd_sock = socket;
        otd_close();
        EXPECT_EQ(kit.otd_sock, socket);
    }
    EXPECT_EQ(kit.nfds, 2);
    EXPECT_EQ(story(), texts{});
}

TEST_F(closing, takes_the_socket_away_from_the_spec_service)
{
    has_entries({ kit.otd_sock });
    spec_sock = kit.otd_sock;
    otd_close();
    EXPECT_LT(spec_sock, 1);
}
