// SPDX-License-Identifier: MIT
// playback.h - the prompts that sound and that wait, in virtual time: one after the other, each as long as
// its sound is. While the player is banned a prompt goes on unheard.
#pragma once

#include "common/json.h"

#include <cstdint>
#include <deque>
#include <string>

struct prompt {
    std::string name;     // empty: no file of the sound folder has this content
    std::string language; // empty: the sound folder itself
    int64_t length_ns = 0;
    std::string bytes; // kept for those who really play it; else empty
};

struct playback {
    // Told what happens, as a line of the journal. Takes fields.
    void (*note)(const char *what, json_object *fields) = nullptr;
    // Told of each prompt when it is about to begin, if not NULL.
    void (*begin)(const prompt &begun) = nullptr;

    std::deque<prompt> queue; // the first one sounds
    int64_t began_ns = 0;     // when it began
    int64_t heard_ns = 0;     // how long it was heard, up to heard_from_ns
    int64_t heard_from_ns = 0;
    bool banned = false;
};

// Ends and begins what is due. A prompt begins at the moment at which the one before it ended, however late
// this is noticed.
void playback_run(playback &self, int64_t now_ns);

void playback_add(playback &self, prompt added, int64_t now_ns);

// A ban that is in force already, or is not, changes nothing and is not told.
void playback_ban(playback &self, bool banned, int64_t now_ns);

// When the prompt that sounds ends; INT64_MAX: none does.
int64_t playback_due_ns(const playback &self);

// {"name":..,"language":..}, without what it does not have.
json_ptr playback_describe(const prompt &described);
