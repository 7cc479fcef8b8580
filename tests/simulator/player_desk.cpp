// SPDX-License-Identifier: MIT
#include "player_desk.h"

#include "common/journal.h"
#include "player/wire.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

static void note(const char *what, json_object *fields)
{
    journal_write("player", what, fields);
}

void player_desk_open(player_desk &desk)
{
    desk_page();
    fs::create_directories(desk_path("sound"));
    player_settings settings;
    settings.bus = desk_path("audio_play");
    settings.sounds = desk_path("sound");
    settings.note = note;
    ASSERT_TRUE(player_open(desk.self, settings));
}

void player_desk_close(player_desk &desk)
{
    player_close(desk.self);
    if (desk.daemon >= 0)
        close(desk.daemon);
}

void player_works_until(player_desk &desk, const std::function<bool()> &condition)
{
    desk_turn_until([&](int ready_fd) { player_wait(desk.self, ready_fd); }, condition);
}

void player_works(player_desk &desk)
{
    player_works_until(desk, [] { return true; });
}

void daemon_connects(player_desk &desk)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, desk.self.settings.bus.c_str(), sizeof address.sun_path - 1);
    desk.daemon = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(desk.daemon, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    player_works(desk);
    char hello[64] = {};
    ASSERT_GT(recv(desk.daemon, hello, sizeof hello - 1, MSG_DONTWAIT), 0);
    ASSERT_STREQ(hello, bus_hello);
}

void daemon_leaves(player_desk &desk)
{
    const size_t before = heard_of("left").size();
    close(desk.daemon);
    desk.daemon = -1;
    player_works_until(desk, [&] { return heard_of("left").size() > before; });
}

static bool has_read_all(const player_desk &desk)
{
    const player_link &link = desk.self.links.back();
    pollfd waiting = { link.fd, POLLIN, 0 };
    return poll(&waiting, 1, 0) == 0;
}

void daemon_sends(player_desk &desk, const std::string &message)
{
    ASSERT_EQ(send(desk.daemon, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT),
              static_cast<ssize_t>(message.size()));
    player_works_until(desk, [&] { return has_read_all(desk); });
}

void daemon_sends_file(player_desk &desk, const std::string &bytes)
{
    for (size_t at = 0; at < bytes.size(); at += bus_longest)
        daemon_sends(desk, bytes.substr(at, bus_longest));
}

static std::string number(size_t value)
{
    std::string bytes;
    for (int i = 0; i < 4; i++, value /= 256)
        bytes += static_cast<char>(value % 256);
    return bytes;
}

std::string sound_of(size_t size, char mark)
{
    constexpr size_t head = 44;
    constexpr size_t rate = 8000;
    const std::string format =
        std::string("\1\0\1\0", 4) + number(rate) + number(rate * 2) + std::string("\2\0\20\0", 4);
    const std::string bytes = "RIFF" + number(size - 8) + "WAVEfmt " + number(format.size()) + format +
                              "data" + number(size - head);
    return bytes + std::string(size - head, mark);
}

std::string sound_lasting(size_t ms, char mark)
{
    return sound_of(44 + ms * 16, mark);
}

void sound_is_there(const std::string &name, const std::string &bytes)
{
    const fs::path file = desk_path("sound") + "/" + name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

texts heard_of(const char *what)
{
    texts names;
    for (const json_ptr &line : desk_journal()) {
        if (json_get_text(line.get(), "what") != what)
            continue;
        const std::string language = json_get_text(line.get(), "language");
        names.push_back(json_get_text(line.get(), "name", "?") + (language.empty() ? "" : " " + language));
    }
    return names;
}

std::vector<int64_t> numbers_of(const char *what, const char *member)
{
    std::vector<int64_t> numbers;
    for (const json_ptr &line : desk_journal()) {
        if (json_get_text(line.get(), "what") == what)
            numbers.push_back(json_get_number(line.get(), member, -1));
    }
    return numbers;
}

std::string command(player_desk &desk, const char *name, const std::string &arguments)
{
    const json_ptr given = json_parse(arguments);
    const json_ptr answer(player_answer(desk.self, name, given.get()));
    return json_text(answer.get());
}
