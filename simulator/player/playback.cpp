// SPDX-License-Identifier: MIT
#include "player/playback.h"

#include <limits>
#include <utility>

static constexpr int64_t ns_per_ms = 1'000'000;

json_ptr playback_describe(const prompt &described)
{
    json_ptr about(json_object_new_object());
    if (!described.name.empty())
        json_set_text(about.get(), "name", described.name);
    if (!described.language.empty())
        json_set_text(about.get(), "language", described.language);
    return about;
}

static void begin_first(playback &self, int64_t at_ns)
{
    const prompt &first = self.queue.front();
    self.began_ns = at_ns;
    self.heard_ns = 0;
    self.heard_from_ns = at_ns;
    json_ptr fields = playback_describe(first);
    json_set_number(fields.get(), "lasts_ms", first.length_ns / ns_per_ms);
    json_set_number(fields.get(), "at_ms", at_ns / ns_per_ms);
    json_object_object_add(fields.get(), "muted", json_object_new_boolean(self.banned));
    if (self.begin != nullptr)
        self.begin(first);
    self.note("playing", fields.release());
}

static void count_heard(playback &self, int64_t until_ns)
{
    if (!self.banned)
        self.heard_ns += until_ns - self.heard_from_ns;
    self.heard_from_ns = until_ns;
}

static void end_first(playback &self, int64_t at_ns)
{
    count_heard(self, at_ns);
    const prompt &first = self.queue.front();
    json_ptr fields = playback_describe(first);
    json_set_number(fields.get(), "lasts_ms", first.length_ns / ns_per_ms);
    json_set_number(fields.get(), "at_ms", at_ns / ns_per_ms);
    json_set_number(fields.get(), "heard_ms", self.heard_ns / ns_per_ms);
    self.note("played", fields.release());
    self.queue.pop_front();
}

int64_t playback_due_ns(const playback &self)
{
    if (self.queue.empty())
        return std::numeric_limits<int64_t>::max();
    return self.began_ns + self.queue.front().length_ns;
}

void playback_run(playback &self, int64_t now_ns)
{
    for (int64_t due_ns = playback_due_ns(self); due_ns <= now_ns; due_ns = playback_due_ns(self)) {
        end_first(self, due_ns);
        if (!self.queue.empty())
            begin_first(self, due_ns);
    }
}

void playback_add(playback &self, prompt added, int64_t now_ns)
{
    playback_run(self, now_ns);
    self.queue.push_back(std::move(added));
    if (self.queue.size() == 1)
        begin_first(self, now_ns);
}

void playback_ban(playback &self, bool banned, int64_t now_ns)
{
    playback_run(self, now_ns);
    if (banned == self.banned)
        return;
    count_heard(self, now_ns);
    self.banned = banned;
    json_ptr fields(self.queue.empty() ? json_ptr(json_object_new_object())
                                       : playback_describe(self.queue.front()));
    self.note(banned ? "banned" : "unbanned", fields.release());
}
