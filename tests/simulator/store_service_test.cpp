// SPDX-License-Identifier: MIT
// The store as a program: how it starts and ends, whom it tells what, and clients that do not behave.
#include "store_client.h"

#include <poll.h>
#include <sys/stat.h>

// Runs the program with these arguments; its exit status. What it says goes to the story's standard error.
static int run_store(const std::vector<std::string> &arguments)
{
    std::vector<const char *> list = { "store" };
    for (const std::string &each : arguments)
        list.push_back(each.c_str());
    list.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        execv(CAMERA_PROGRAMS "/store", const_cast<char *const *>(list.data()));
        _exit(127);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

STORY(store_service, arguments_it_does_not_know_are_told)
{
    desk_catch_stderr();
    const std::vector<std::vector<std::string>> wrong = { {},
                                                          { "--database" },
                                                          { "--database", "x" },
                                                          { "--defaults", "x" },
                                                          { "--database", "x", "--defaults", "y", "--verbose",
                                                            "1" },
                                                          { "x", "y" } };
    for (const auto &arguments : wrong)
        EXPECT_EQ(run_store(arguments), 2);
    EXPECT_EQ(desk_stderr().substr(0, 47), "usage: store --database FILE --defaults FILE\nus");
}

STORY(store_service, a_bad_line_in_the_defaults_ends_it_with_one_sentence)
{
    desk_catch_stderr();
    store_write_defaults("power = on\nlight off\n");
    EXPECT_EQ(run_store({ "--database", desk_path("nvram"), "--defaults", desk_path("defaults") }), 1);
    EXPECT_EQ(desk_stderr(), "store: the factory defaults cannot be used: line 2 of " +
                                 desk_path("defaults") + " has no \"=\", write it as \"key = value\"\n");
}

STORY(store_service, a_second_store_in_the_same_run_folder_is_refused)
{
    desk_catch_stderr();
    store_process store = store_start();
    EXPECT_EQ(run_store({ "--database", desk_path("other"), "--defaults", desk_path("defaults") }), 1);
    EXPECT_EQ(desk_stderr(),
              "store: another store listens at " + desk_path("store") + ", stop that one first\n");
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on"); // the first goes on
    store_end(store, SIGKILL);
}

STORY(store_service, a_run_folder_with_too_long_a_name_is_told)
{
    desk_catch_stderr();
    store_write_defaults();
    const std::string defaults = desk_path("defaults");
    const std::string database = desk_path("nvram");
    const std::string folder = desk_path(std::string(100, 'd').c_str());
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    setenv("CAMERA_RUN", folder.c_str(), 1);
    EXPECT_EQ(run_store({ "--database", database, "--defaults", defaults }), 1);
    EXPECT_NE(
        desk_file(defaults.substr(0, defaults.rfind('/')) + "/stderr").find("choose a shorter run folder"),
        std::string::npos);
}

STORY(store_service, the_socket_of_a_killed_store_is_replaced)
{
    store_process store = store_start();
    store_end(store, SIGKILL);
    EXPECT_FALSE(store_listens());
    EXPECT_EQ(access(desk_path("store").c_str(), F_OK), 0);
    store = store_start();
    EXPECT_TRUE(store_listens());
    store_end(store, SIGKILL);
}

STORY(store_service, a_signal_ends_it_in_order)
{
    for (const int signal_number : { SIGTERM, SIGINT }) {
        store_process store = store_start();
        raw_client client = raw_connect_as("tester");
        EXPECT_EQ(raw_do(client, wire_kind::set, "nvram", "power", text_value("off")), wire_status::done);
        EXPECT_EQ(store_end(store, signal_number), 0);
        EXPECT_TRUE(raw_is_closed(client));
        EXPECT_NE(access(desk_path("store").c_str(), F_OK), 0);
        EXPECT_NE(access(desk_path("nvram-wal").c_str(), F_OK), 0);
        raw_close(client);
    }
}

// What nvram has after the service was killed and started again.
static std::string power_after_kill(store_process &store)
{
    store_end(store, SIGKILL);
    store = store_start();
    raw_client client = raw_connect();
    std::string power = raw_get(client, "nvram", "power");
    raw_close(client);
    return power;
}

STORY(store_service, a_set_an_unset_and_a_reset_outlive_its_death)
{
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    EXPECT_EQ(raw_do(client, wire_kind::set, "nvram", "power", text_value("off")), wire_status::done);
    EXPECT_EQ(power_after_kill(store), "off");
    client = raw_connect_as("tester");
    EXPECT_EQ(raw_do(client, wire_kind::unset, "nvram", "power"), wire_status::done);
    EXPECT_EQ(power_after_kill(store), "(nothing)");
    client = raw_connect_as("tester");
    EXPECT_EQ(raw_do(client, wire_kind::other, "nvram", "", text_value("reset")), wire_status::done);
    EXPECT_EQ(power_after_kill(store), "on");
    store_end(store, SIGKILL);
}

STORY(store_service, mem_does_not_outlive_its_death)
{
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "power", text_value("off")), wire_status::done);
    EXPECT_EQ(power_after_kill(store), "on");
    client = raw_connect_as("tester");
    EXPECT_EQ(raw_get(client, "mem", "power"), "(nothing)");
    store_end(store, SIGKILL);
}

STORY(store_service, a_damaged_database_is_reported_and_the_camera_starts_as_new)
{
    desk_page();
    desk_catch_stderr();
    std::ofstream(desk_path("nvram")) << "garbage";
    store_process store = store_start();
    const std::string sentence =
        "the nvram database was damaged (file is not a database): it was set aside as " + desk_path("nvram") +
        ".damaged-1, and the camera starts from the factory defaults";
    EXPECT_EQ(desk_stderr(), "store: " + sentence + "\n");
    const auto damaged = desk_journal_of("damaged");
    ASSERT_EQ(damaged.size(), 1U);
    EXPECT_EQ(damaged[0], R"({"who":"store","what":"damaged","text":")" + sentence + "\"}");
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    store_end(store, SIGKILL);
}

STORY(store_service, the_journal_tells_who_changed_what)
{
    desk_page();
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    raw_do(client, wire_kind::set, "nvram", "power", text_value("off"));
    raw_do(client, wire_kind::set, "mem", "time_night", { wire_type::number, "7" });
    raw_do(client, wire_kind::unset, "mem", "time_night");
    raw_do(client, wire_kind::sync, "nvram", "");
    raw_do(client, wire_kind::other, "nvram", "", text_value("reset"));
    raw_close(client);
    ASSERT_TRUE(desk_wait([] { return !desk_journal_of("left").empty(); }));
    std::vector<std::string> lines;
    for (const json_ptr &line : desk_journal()) {
        json_object_object_del(line.get(), "n");
        json_object_object_del(line.get(), "ms");
        lines.push_back(json_text(line.get()));
    }
    const std::vector<std::string> wanted = {
        R"({"who":"store","what":"connected","by":"tester"})",
        R"({"who":"store","what":"set","space":"nvram","key":"power","type":1,"value":"off","by":"tester"})",
        R"({"who":"store","what":"set","space":"mem","key":"time_night","type":5,"value":"7","by":"tester"})",
        R"({"who":"store","what":"unset","space":"mem","key":"time_night","by":"tester"})",
        R"({"who":"store","what":"sync","space":"nvram","by":"tester"})",
        R"({"who":"store","what":"reset","space":"nvram","by":"tester"})",
        R"({"who":"store","what":"left","by":"tester"})",
    };
    EXPECT_EQ(lines, wanted);
    store_end(store, SIGKILL);
}

STORY(store_service, the_journal_is_json_whatever_bytes_a_value_has)
{
    desk_page();
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    raw_do(client, wire_kind::set, "mem", "a", text_value("\xe4\xb8\xad cut \xe4\xb8"));
    raw_do(client, wire_kind::set, "mem", "a", text_value("\xff\xc0\x80\xed\xa0\x80\xf4\x90\x80\x80"));
    const std::string bad = "\xef\xbf\xbd";
    const auto sets = desk_journal();
    ASSERT_EQ(sets.size(), 3U);
    EXPECT_EQ(json_get_text(sets[1].get(), "value"), "\xe4\xb8\xad cut " + bad + bad);
    EXPECT_EQ(json_get_text(sets[2].get(), "value"),
              bad + bad + bad + bad + bad + bad + bad + bad + bad + bad);
    EXPECT_EQ(raw_get(client, "mem", "a"),
              "\xff\xc0\x80\xed\xa0\x80\xf4\x90\x80\x80"); // itself it is untouched
    store_end(store, SIGKILL);
}

STORY(store_service, a_client_that_says_no_hello_may_only_get_and_is_not_in_the_journal)
{
    desk_page();
    store_process store = store_start();
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    EXPECT_EQ(raw_do(client, wire_kind::set, "nvram", "power", text_value("off")), wire_status::not_known);
    EXPECT_EQ(raw_do(client, wire_kind::watch, "nvram", "power"), wire_status::not_known);
    EXPECT_EQ(raw_do(client, wire_kind::other, "nvram", "", text_value("reset")), wire_status::not_known);
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    raw_close(client);
    EXPECT_EQ(desk_journal().size(), 0U);
    store_end(store, SIGKILL);
}

STORY(store_service, wrong_requests_are_refused_and_nothing_is_closed)
{
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    const wire_value value = text_value("v");
    EXPECT_EQ(raw_do(client, wire_kind::set, "attic", "a", value), wire_status::no_space);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "", value), wire_status::bad_key);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", std::string("a\0b", 3), value), wire_status::bad_key);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "a", { wire_type::none, "v" }), wire_status::bad_value);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "a", { wire_type::number, "seven" }),
              wire_status::bad_value);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "a", { static_cast<wire_type>(9), "v" }),
              wire_status::bad_value);
    EXPECT_EQ(raw_do(client, wire_kind::get, "mem", "a"), wire_status::no_value);
    EXPECT_EQ(raw_do(client, wire_kind::other, "nvram", "", text_value("polish")), wire_status::no_command);
    EXPECT_EQ(raw_do(client, wire_kind::other, "mem", "", text_value("reset")), wire_status::no_command);
    EXPECT_EQ(raw_do(client, wire_kind::sync, "attic", ""), wire_status::no_space);
    EXPECT_EQ(raw_do(client, wire_kind::set, "mem", "a", value), wire_status::done);
    store_end(store, SIGKILL);
}

STORY(store_service, a_client_that_breaks_the_protocol_is_dropped_alone)
{
    desk_catch_stderr();
    store_process store = store_start();
    raw_client good = raw_connect_as("good");
    const std::vector<std::string> nonsense = { "GET / HTTP/1.0\r\n\r\n and more of the kind",
                                                std::string(64, '\0'), std::string(64, '\xff') };
    for (const std::string &bytes : nonsense) {
        raw_client bad = raw_connect_as("bad");
        raw_send_bytes(bad, bytes);
        EXPECT_TRUE(raw_is_closed(bad));
        raw_close(bad);
    }
    for (const wire_kind kind :
         { wire_kind::hello, wire_kind::notification }) { // a second hello; the service's own kind
        raw_client bad = raw_connect_as("bad");
        raw_ask(bad, kind, "mem", "a");
        EXPECT_TRUE(raw_is_closed(bad));
        raw_close(bad);
    }
    EXPECT_EQ(raw_get(good, "nvram", "power"), "on");
    EXPECT_EQ(desk_stderr().substr(0, 72),
              "store: the client bad is dropped: it does not keep to the protocol\nstore");
    store_end(store, SIGKILL);
}

STORY(store_service, half_a_request_changes_nothing)
{
    store_process store = store_start();
    raw_client half = raw_connect_as("half");
    wire_buffer frame;
    ASSERT_TRUE(wire_put(frame, { .kind = wire_kind::set,
                                  .status = wire_status::done,
                                  .id = 1,
                                  .space = "nvram",
                                  .key = "power",
                                  .value = text_value("off") }));
    raw_send_bytes(half, frame.bytes.substr(0, frame.bytes.size() - 1));
    raw_close(half);
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    store_end(store, SIGKILL);
}

STORY(store_service, the_requests_of_a_client_that_went_without_reading_are_done)
{
    store_process store = store_start();
    const int ended = desk_in_process([] {
        raw_client client = raw_connect_as("hasty");
        for (int i = 0; i < 500; ++i)
            raw_ask(client, wire_kind::set, "nvram", "key" + std::to_string(i), text_value("v"));
        raw_close(client);
    });
    EXPECT_EQ(ended, 0);
    raw_client client = raw_connect();
    EXPECT_TRUE(desk_wait([&client] { return raw_get(client, "nvram", "key499") == "v"; }));
    EXPECT_EQ(raw_get(client, "nvram", "key0"), "v");
    store_end(store, SIGKILL);
}

STORY(store_service, a_client_that_never_reads_is_dropped_and_holds_up_nobody)
{
    desk_page();
    store_process store = store_start();
    raw_client sleeper = raw_connect_as("sleeper");
    ASSERT_EQ(raw_do(sleeper, wire_kind::watch, "mem", "long"), wire_status::done);
    raw_client writer = raw_connect_as("writer");
    const std::string value(1000000, 'x');
    for (int i = 0; i < 30; ++i)
        ASSERT_EQ(raw_do(writer, wire_kind::set, "mem", "long", text_value(value)), wire_status::done);
    ASSERT_TRUE(desk_wait([] { return !desk_journal_of("left").empty(); }));
    EXPECT_EQ(desk_journal_of("left")[0],
              R"({"who":"store","what":"left","by":"sleeper","text":"it does not read what it is sent"})");
    EXPECT_TRUE(raw_is_closed(sleeper));
    store_end(store, SIGKILL);
}

STORY(store_service, a_client_that_asks_much_before_it_reads_is_served_in_full)
{
    store_process store = store_start();
    raw_client client = raw_connect_as("reader");
    const std::string value(1000000, 'x');
    ASSERT_EQ(raw_do(client, wire_kind::set, "mem", "long", text_value(value)), wire_status::done);
    for (int i = 0; i < 60; ++i) // 60 MB of answers, more than the service would hold for anybody
        raw_ask(client, wire_kind::get, "mem", "long");
    wire_message message;
    for (int i = 0; i < 60; ++i) {
        ASSERT_TRUE(raw_receive(client, message));
        ASSERT_EQ(message.value.text.size(), value.size());
    }
    store_end(store, SIGKILL);
}

STORY(store_service, one_client_may_watch_many_keys_but_not_any_number)
{
    store_process store = store_start();
    raw_client client = raw_connect_as("tester");
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(raw_do(client, wire_kind::watch, "mem", std::to_string(i)), wire_status::done);
    EXPECT_EQ(raw_do(client, wire_kind::watch, "mem", "4096"), wire_status::too_many);
    EXPECT_EQ(raw_do(client, wire_kind::watch, "mem", "7"), wire_status::done);
    EXPECT_EQ(raw_do(client, wire_kind::unwatch, "mem", "7"), wire_status::done);
    EXPECT_EQ(raw_do(client, wire_kind::watch, "mem", "4096"), wire_status::done);
    store_end(store, SIGKILL);
}

STORY(store_service, too_many_clients_are_turned_away_and_the_others_served)
{
    store_process store = store_start();
    std::vector<raw_client> clients;
    clients.push_back(raw_connect());
    ASSERT_EQ(raw_get(clients.front(), "nvram", "power"), "on"); // whoever came before it has left
    while (clients.size() < 200)
        clients.push_back(raw_connect());
    EXPECT_EQ(raw_get(clients.back(), "nvram", "power"), "on");
    raw_client last = raw_connect();
    EXPECT_TRUE(raw_is_closed(last));
    raw_close(clients.front());
    EXPECT_TRUE(desk_wait([] {
        raw_client next = raw_connect();
        const bool served = raw_get(next, "nvram", "power") == "on";
        raw_close(next);
        return served;
    }));
    store_end(store, SIGKILL);
}
