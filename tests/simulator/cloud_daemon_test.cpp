// SPDX-License-Identifier: MIT
// The cloud client's conversation with the daemon.
#include "cloud_desk.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <string_view>

using texts = std::vector<std::string>;

STORY(cloud_daemon, announced_methods_are_remembered_once_and_in_order)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    daemon_announces(desk, { "set_power", "get_prop" });
    daemon_announces(desk, { "get_prop", "local.bind" });
    cloud_works_until(desk, [&] { return desk.self.methods.size() == 3; });

    EXPECT_EQ(desk.self.methods, (texts{ "set_power", "get_prop", "local.bind" }));
    EXPECT_EQ(journal_texts("announced", "method"),
              (texts{ "set_power", "get_prop", "get_prop", "local.bind" }));
    cloud_desk_close(desk);
}

STORY(cloud_daemon, a_question_for_the_status_is_answered_with_its_id)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);

    daemon_says(desk, R"({"id":42,"method":"local.query_status","params":null})");
    EXPECT_EQ(daemon_hears_up_to(desk, "}"),
              R"({"id":42,"method":"local.status","params":"cloud_connected"})");
    daemon_says(desk, R"({"method":"local.query_status","params":null})");
    EXPECT_EQ(daemon_hears_up_to(desk, "}"), R"({"method":"local.status","params":"cloud_connected"})");
    cloud_desk_close(desk);
}

STORY(cloud_daemon, the_network_comes_up_step_by_step_and_the_daemon_is_told_each)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    desk_clock_step(2000);
    const std::string heard = daemon_hears_up_to(desk, R"("cloud_connected"})");

    const texts way = { "wifi_connecting", "wifi_connected", "cloud_trying", "cloud_connected" };
    EXPECT_EQ(journal_texts("network", "status"), way);
    // The first came before the daemon.
    EXPECT_EQ(heard, R"({"method":"local.status","params":"wifi_connected"})"
                     R"({"method":"local.status","params":"cloud_trying"})"
                     R"({"method":"local.status","params":"cloud_connected"})");
    cloud_desk_close(desk);
}

STORY(cloud_daemon, the_network_takes_its_time)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    desk_clock_step(300);
    cloud_works_until(desk, [&] { return desk.self.net.status == "wifi_connected"; });

    EXPECT_EQ(journal_texts("network", "status"), (texts{ "wifi_connecting", "wifi_connected" }));
    cloud_desk_close(desk);
}

static int64_t told_seconds(cloud_desk &desk)
{
    daemon_says(desk, R"({"id":5,"method":"local.query_time","params":null})");
    const json_ptr told = json_parse(daemon_hears_up_to(desk, "}"));
    EXPECT_EQ(json_get_text(told.get(), "method"), "local.time");
    EXPECT_EQ(json_get_number(told.get(), "id"), 5);
    return json_get_number(told.get(), "params");
}

STORY(cloud_daemon, the_time_is_the_worlds_at_the_start_and_goes_on_as_the_cameras)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);

    const int64_t before = told_seconds(desk);
    desk_clock_step(3'600'000);
    const int64_t after = told_seconds(desk);

    EXPECT_NEAR(static_cast<double>(before), static_cast<double>(time(nullptr)), 12.0);
    EXPECT_EQ(after - before, 3600);
    cloud_desk_close(desk);
}

STORY(cloud_daemon, the_time_goes_on_in_the_cloud_clients_next_life)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    const int64_t before = told_seconds(desk);
    const int64_t before_ms = desk_clock_ms();
    const cloud_settings settings = desk.self.settings;

    cloud_close(desk.self);
    desk_clock_step(86'400'000);
    desk.self = {};
    ASSERT_TRUE(cloud_open(desk.self, settings));
    daemon_connects(desk);
    network_comes_up(desk);

    const int64_t passed_s = (desk_clock_ms() - before_ms) / 1000;
    EXPECT_NEAR(static_cast<double>(told_seconds(desk) - before), static_cast<double>(passed_s), 1);
    cloud_desk_close(desk);
}

STORY(cloud_daemon, replies_and_reports_are_shown_and_not_answered)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    const std::string reply = R"({ "id": 1, "result": [ "on" ] })";
    const std::string report = R"({"id":9,"method":"props","params":{"power":"off"}})";
    const std::string question = R"({"id":2,"method":"local.query_status","params":null})";

    daemon_says(desk, reply + report + question);

    EXPECT_EQ(daemon_hears_up_to(desk, "}"),
              R"({"id":2,"method":"local.status","params":"cloud_connected"})");
    EXPECT_EQ(journal_texts("received"), (texts{ reply, report, question }));
    cloud_desk_close(desk);
}

STORY(cloud_daemon, what_is_no_json_is_shown_as_it_is)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    daemon_says(desk, "what?\n{\"id\":1}");
    cloud_works_until(desk, [&] { return journal_texts("received").size() == 2; });

    EXPECT_EQ(journal_texts("received"), (texts{ "what?\n", "{\"id\":1}" }));
    cloud_desk_close(desk);
}

STORY(cloud_daemon, half_a_message_waits_for_its_other_half)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    daemon_says(desk, R"({"method":"regi)");
    cloud_works_until(desk, [&] { return !desk.self.daemon.in.held.empty(); });
    EXPECT_EQ(journal_texts("received"), texts{});
    daemon_says(desk, R"(ster","key":"set_power"})");
    cloud_works_until(desk, [&] { return desk.self.methods.size() == 1; });

    EXPECT_EQ(journal_texts("received"), texts{ R"({"method":"register","key":"set_power"})" });
    cloud_desk_close(desk);
}

STORY(cloud_daemon, half_a_message_that_does_not_go_on_is_shown_after_a_second)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    daemon_says(desk, R"({"id":1)");
    cloud_works_until(desk, [&] { return !desk.self.daemon.in.held.empty(); });

    desk_clock_step(999);
    cloud_works_until(desk, [&] { return desk.self.net.status == "cloud_connected"; });
    EXPECT_EQ(journal_texts("received"), texts{});
    desk_clock_step(1);
    cloud_works_until(desk, [&] { return !journal_texts("received").empty(); });

    EXPECT_EQ(journal_texts("received"), texts{ R"({"id":1)" });
    cloud_desk_close(desk);
}

STORY(cloud_daemon, half_a_message_is_shown_when_the_daemon_leaves)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);

    daemon_says(desk, R"({"id":1)");
    close(desk.daemon);
    desk.daemon = -1;
    cloud_works_until(desk, [&] { return !journal_texts("left").empty(); });

    EXPECT_EQ(journal_texts("received"), texts{ R"({"id":1)" });
    cloud_desk_close(desk);
}

STORY(cloud_daemon, a_new_connection_takes_the_place_of_the_old)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    daemon_announces(desk, { "set_power" });
    const int old = desk.daemon;

    daemon_connects(desk);

    EXPECT_EQ(desk.self.methods, texts{});
    EXPECT_EQ(journal_texts("left").size(), 1U);
    char byte = 0;
    EXPECT_EQ(recv(old, &byte, 1, 0), 0);
    network_comes_up(desk);
    close(old);
    cloud_desk_close(desk);
}

STORY(cloud_daemon, a_connection_that_is_reset_is_left_and_the_next_one_served)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    const linger at_once = { 1, 0 };
    ASSERT_EQ(setsockopt(desk.daemon, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once)), 0);

    close(desk.daemon);
    cloud_works_until(desk, [&] { return journal_texts("left").size() == 1; });
    daemon_connects(desk);
    network_comes_up(desk);

    daemon_says(desk, R"({"id":1,"method":"local.query_status"})");
    EXPECT_EQ(daemon_hears_up_to(desk, "}"),
              R"({"id":1,"method":"local.status","params":"cloud_connected"})");
    cloud_desk_close(desk);
}

STORY(cloud_daemon, a_flood_of_nonsense_is_survived)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    std::string nonsense;
    for (unsigned i = 0; i < 400'000; i++)
        nonsense += static_cast<char>(i * i / 7 % 3 == 0 ? '{' : i * 31 % 251);

    for (size_t at = 0; at < nonsense.size(); at += 40'000) {
        daemon_says(desk, nonsense.substr(at, 40'000));
        cloud_works_until(desk, [] { return true; });
    }
    // What looks like a message without an end is given up in time.
    desk_clock_run(20);
    daemon_says(desk, R"("]}}{"id":77,"method":"local.query_status"})");

    EXPECT_EQ(daemon_hears_up_to(desk, "}"),
              R"({"id":77,"method":"local.status","params":"cloud_connected"})");
    cloud_desk_close(desk);
}

STORY(cloud_daemon, one_that_does_not_read_keeps_nobody_waiting_and_misses_nothing_it_was_promised)
{
    cloud_desk desk;
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "get_prop" });
    const std::string arguments = R"({"method":"get_prop","params":[")" + std::string(50'000, 'x') + R"("]})";

    int taken = 0;
    std::string answer = command(desk, "call", arguments);
    for (; taken < 1000 && answer.starts_with("{\"done\""); answer = command(desk, "call", arguments))
        taken++;

    EXPECT_NE(answer.find("the daemon does not read"), std::string::npos) << answer;
    EXPECT_NE(command(desk, "status").find("\"connected\":true"), std::string::npos);
    size_t heard = 0;
    constexpr std::string_view shortest = R"({"id":1,"method":"get_prop","params":[""]})";
    const size_t whole = static_cast<size_t>(taken) * shortest.size();
    cloud_works_until(desk, [&] {
        const std::string part = daemon_hears(desk);
        heard += part.size() - static_cast<size_t>(std::count(part.begin(), part.end(), 'x'));
        return desk.self.daemon.out.empty() && heard >= whole;
    });
    EXPECT_EQ(journal_texts("sent").size(), static_cast<size_t>(taken) + 3); // and three statuses
    cloud_desk_close(desk);
}
