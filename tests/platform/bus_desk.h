// SPDX-License-Identifier: MIT
// bus_desk.h - a receiver of libwrax in a story, and the player at the other end, which the story plays.
#pragma once

#include "harness.h"
#include "libwrax.h"
#include "player/bus.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

struct bus_desk {
    int listener = -1;
    int player = -1; // the player's end
    wrax_rcv *receiver = nullptr;

    // What the handlers were told: "connected", "left", "name: text".
    std::vector<std::string> told;
};

inline std::string bus_path()
{
    return desk_path("audio_play");
}

inline int bus_note_connected(wrax_rcv *, const void *, void *desk)
{
    static_cast<bus_desk *>(desk)->told.emplace_back("connected");
    return 0;
}

inline int bus_note_left(wrax_rcv *, const void *, void *desk)
{
    static_cast<bus_desk *>(desk)->told.emplace_back("left");
    return 0;
}

inline int bus_note_message(wrax_rcv *, const void *message, void *desk)
{
    const char *header = static_cast<const char *>(message);
    static_cast<bus_desk *>(desk)->told.push_back(std::string(header) + ": " + (header + 12));
    return 0;
}

inline void player_listens(bus_desk &desk)
{
    desk.listener = bus_listen(bus_path());
    ASSERT_GE(desk.listener, 0);
}

inline void receiver_is_made(bus_desk &desk)
{
    desk.receiver = wrax_rcv_create(bus_path().c_str());
    ASSERT_NE(desk.receiver, nullptr);
    EXPECT_EQ(wrax_rcv_event(desk.receiver, 0, bus_note_connected, &desk), 0);
    EXPECT_EQ(wrax_rcv_event(desk.receiver, 1, bus_note_left, &desk), 0);
    EXPECT_EQ(wrax_rcv_event(desk.receiver, 3, bus_note_message, &desk), 0);
}

// Made and started, but the player does not serve it yet.
inline void receiver_starts(bus_desk &desk)
{
    receiver_is_made(desk);
    ASSERT_GE(wrax_rcv_start(desk.receiver), 0);
}

inline void player_serves(bus_desk &desk)
{
    desk.player = bus_accept(desk.listener);
    ASSERT_GE(desk.player, 0);
    ASSERT_TRUE(bus_greet(desk.player));
}

// Everything from the listening player to the event 0.
inline void bus_connect(bus_desk &desk)
{
    player_listens(desk);
    receiver_starts(desk);
    player_serves(desk);
    ASSERT_GE(wrax_rcv_poll(desk.receiver), 0);
    ASSERT_EQ(desk.told, std::vector<std::string>{ "connected" });
    desk.told.clear();
}

inline void player_leaves(bus_desk &desk)
{
    close(desk.player);
    desk.player = -1;
}

inline void bus_close(bus_desk &desk)
{
    wrax_rcv_destroy(desk.receiver);
    for (const int fd : { desk.player, desk.listener }) {
        if (fd >= 0)
            close(fd);
    }
}

// All that has reached the player and that it has not read yet, message by message.
inline std::vector<std::string> player_reads(const bus_desk &desk)
{
    std::vector<std::string> messages;
    std::string message;
    while (bus_receive(desk.player, message) == bus_event::message)
        messages.push_back(message);
    return messages;
}

inline bool is_readable(int fd)
{
    pollfd watched = { .fd = fd, .events = POLLIN, .revents = 0 };
    return poll(&watched, 1, 0) == 1 && (watched.revents & POLLIN) != 0;
}

inline size_t entries_of(const char *folder)
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder))
        count++;
    return count;
}

inline size_t open_descriptors()
{
    return entries_of("/proc/self/fd");
}
