// SPDX-License-Identifier: MIT
#include "player/player.h"

#include "common/clock.h"
#include "common/wav.h"
#include "player/bus.h"
#include "player/sounds.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

static constexpr int64_t ns_per_ms = 1'000'000;

static void on_prompt(player &self, const std::string &bytes)
{
    const sound_name known = sounds_find(self.settings.sounds, bytes).value_or(sound_name{});
    prompt added = { .name = known.name,
                     .language = known.language,
                     .length_ns = wav_look(bytes).length_ns,
                     .bytes = self.settings.begin == nullptr ? "" : bytes };
    json_ptr fields = playback_describe(added);
    json_set_number(fields.get(), "bytes", static_cast<int64_t>(bytes.size()));
    json_set_number(fields.get(), "lasts_ms", added.length_ns / ns_per_ms);
    self.settings.note("prompt", fields.release());
    playback_add(self.sound, std::move(added), clock_monotonic_ns());
}

static void on_cut(const player &self, const std::string &bytes)
{
    json_ptr fields(json_object_new_object());
    json_set_number(fields.get(), "bytes", static_cast<int64_t>(bytes.size()));
    json_set_number(fields.get(), "of", wav_told_size(bytes));
    self.settings.note("cut", fields.release());
}

static void take(player &self, const std::vector<piece> &pieces)
{
    for (const piece &piece : pieces) {
        switch (piece.kind) {
        case piece_kind::prompt:
            on_prompt(self, piece.bytes);
            break;
        case piece_kind::cut:
            on_cut(self, piece.bytes);
            break;
        case piece_kind::ban:
        case piece_kind::unban:
            playback_ban(self.sound, piece.kind == piece_kind::ban, clock_monotonic_ns());
            break;
        }
    }
}

static void leave(player &self, player_link &link)
{
    take(self, pieces_settle(link.pieces));
    close(link.fd);
    link.fd = -1;
    self.settings.note("left", nullptr);
}

static void on_readable(player &self, player_link &link)
{
    constexpr int most_messages = 16; // then the others have their turn
    std::string message;
    for (int i = 0; i < most_messages; i++) {
        const bus_event event = bus_receive(link.fd, message);
        if (event == bus_event::left)
            leave(self, link);
        if (event != bus_event::message)
            return;
        take(self, pieces_take(link.pieces, message, clock_monotonic_ns()));
    }
}

static void on_connection(player &self)
{
    const int fd = bus_accept(self.listener);
    if (fd < 0)
        return;
    self.links.push_back({ .fd = fd, .pieces = {} });
    // Before the daemon can do anything about it.
    self.settings.note("connected", nullptr);
    if (!bus_greet(fd))
        leave(self, self.links.back());
}

static int64_t patience_ends_ns(const player_link &link)
{
    return link.pieces.held.empty() ? INT64_MAX : link.pieces.grown_ns + pieces_patience_ns;
}

static void on_time(player &self)
{
    const int64_t now_ns = clock_monotonic_ns();
    for (player_link &link : self.links) {
        if (!self.hangs && patience_ends_ns(link) <= now_ns)
            take(self, pieces_settle(link.pieces));
    }
    playback_run(self.sound, clock_monotonic_ns());
}

// While something is due: the clock may stand at a tick of the daemon and goes on without a word.
static int wait_ms(const player &self)
{
    constexpr int look_ms = 20;
    int64_t due_ns = playback_due_ns(self.sound);
    for (const player_link &link : self.links) {
        if (!self.hangs)
            due_ns = std::min(due_ns, patience_ends_ns(link));
    }
    const int wait = clock_host_wait_ms(due_ns);
    return due_ns == INT64_MAX ? wait : std::min(wait, look_ms);
}

static bool is_ready(const pollfd &entry)
{
    return entry.revents != 0;
}

void player_wait(player &self, int other_fd)
{
    std::vector<pollfd> entries = { { other_fd, POLLIN, 0 }, { self.hangs ? -1 : self.listener, POLLIN, 0 } };
    const size_t first = entries.size();
    for (const player_link &link : self.links)
        entries.push_back({ self.hangs ? -1 : link.fd, POLLIN, 0 });
    if (poll(entries.data(), entries.size(), wait_ms(self)) > 0) {
        for (size_t i = 0; i < self.links.size(); i++) {
            if (is_ready(entries[first + i]))
                on_readable(self, self.links[i]);
        }
        if (is_ready(entries[1]))
            on_connection(self);
    }
    on_time(self);
    std::erase_if(self.links, [](const player_link &link) { return link.fd < 0; });
}

bool player_open(player &self, const player_settings &settings)
{
    self.settings = settings;
    self.sound.note = settings.note;
    self.sound.begin = settings.begin;
    self.listener = bus_listen(settings.bus);
    return self.listener >= 0;
}

void player_close(player &self)
{
    for (const player_link &link : self.links)
        close(link.fd);
    self.links.clear();
    close(self.listener);
    self.listener = -1;
}
