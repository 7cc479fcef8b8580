// SPDX-License-Identifier: MIT
#include "cloud_desk.h"

#include "common/journal.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>

static std::map<std::string, std::string> store;

static std::optional<std::string> read_store(const char *space, const char *key)
{
    const auto found = store.find(space + std::string(" ") + key);
    return found == store.end() ? std::nullopt : std::optional<std::string>(found->second);
}

void store_holds(const std::string &space_and_key, const std::string &value)
{
    store[space_and_key] = value;
}

static void note(const char *what, json_object *fields)
{
    journal_write("cloud", what, fields);
}

void cloud_desk_open(cloud_desk &desk, const char *bind_status, bool bind)
{
    desk_page();
    store = { { "nvram did", "123" } };
    if (bind_status[0] != '\0')
        store_holds("nvram bind_status", bind_status);
    cloud_settings settings;
    settings.port = 0;
    settings.bind = bind;
    settings.read_store = read_store;
    settings.note = note;
    ASSERT_TRUE(cloud_open(desk.self, settings));
    cloud_works_until(desk, [&] { return desk.self.net.status == "wifi_connecting"; });
}

void cloud_desk_close(cloud_desk &desk)
{
    cloud_close(desk.self);
    if (desk.daemon >= 0)
        close(desk.daemon);
}

void cloud_works_until(cloud_desk &desk, const std::function<bool()> &condition)
{
    desk_turn_until([&](int ready_fd) { cloud_wait(desk.self, ready_fd); }, condition);
}

void daemon_connects(cloud_desk &desk)
{
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    ASSERT_EQ(getsockname(desk.self.listener, reinterpret_cast<sockaddr *>(&address), &length), 0);
    const size_t before = journal_texts("connected").size();
    desk.daemon = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(desk.daemon, reinterpret_cast<sockaddr *>(&address), length), 0);
    cloud_works_until(desk, [&] { return journal_texts("connected").size() > before; });
}

void daemon_says(const cloud_desk &desk, const std::string &bytes)
{
    ASSERT_EQ(send(desk.daemon, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

void daemon_announces(cloud_desk &desk, const std::vector<std::string> &methods)
{
    for (const std::string &method : methods)
        daemon_says(desk, R"({"method":"register","key":")" + method + "\"}");
    cloud_works_until(desk, [&] { return desk.self.methods.size() >= methods.size(); });
}

std::string daemon_hears(cloud_desk &desk)
{
    std::string heard;
    char part[4096];
    ssize_t count = 0;
    while ((count = recv(desk.daemon, part, sizeof(part), MSG_DONTWAIT)) > 0)
        heard.append(part, static_cast<size_t>(count));
    return heard;
}

std::string daemon_hears_up_to(cloud_desk &desk, const std::string &text)
{
    std::string heard;
    cloud_works_until(desk, [&] {
        heard += daemon_hears(desk);
        return heard.ends_with(text);
    });
    return heard;
}

void network_comes_up(cloud_desk &desk)
{
    desk_clock_step(1000);
    cloud_works_until(desk, [&] { return desk.self.net.status == "cloud_connected"; });
    if (desk.daemon >= 0)
        daemon_hears_up_to(desk, R"("cloud_connected"})");
}

std::vector<std::string> journal_texts(const char *what, const char *member)
{
    std::vector<std::string> texts;
    for (const json_ptr &line : desk_journal()) {
        if (json_get_text(line.get(), "what") == what)
            texts.push_back(json_get_text(line.get(), member));
    }
    return texts;
}

std::string command(cloud_desk &desk, const char *name, const std::string &arguments)
{
    const json_ptr given = json_parse(arguments);
    const json_ptr answer(cloud_answer(desk.self, name, given.get()));
    return json_text(answer.get());
}
