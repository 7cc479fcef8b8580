// SPDX-License-Identifier: MIT
// player_desk.h - an audio player on a bus of its own with a daemon that the case plays, and a sound folder
// of the case. Use it inside a STORY: the virtual clock stands still until it is stepped.
#pragma once

#include "player/player.h"

#include "harness.h"

#include <functional>
#include <string>

struct player_desk {
    player self;
    int daemon = -1; // the daemon's end of the bus
};

using texts = std::vector<std::string>;

void player_desk_open(player_desk &desk);
void player_desk_close(player_desk &desk);

// Lets the player work until the condition holds; the case fails when it does not within 10 s.
void player_works_until(player_desk &desk, const std::function<bool()> &condition);

// Lets it do what there is to do.
void player_works(player_desk &desk);

// Connects and waits for the player's hello.
void daemon_connects(player_desk &desk);
void daemon_leaves(player_desk &desk);

// One message of the bus, which the player then takes.
void daemon_sends(player_desk &desk, const std::string &message);

// A whole file in messages of 65,536 bytes, as the daemon cuts it.
void daemon_sends_file(player_desk &desk, const std::string &bytes);

// A WAV file of size bytes in all, more than its head of 44: 16,000 bytes of it sound for a second. Files
// with different marks differ.
std::string sound_of(size_t size, char mark = 'a');

// A sound of so many ms.
std::string sound_lasting(size_t ms, char mark = 'a');

// Puts a file into the sound folder: "booting", "de/booting".
void sound_is_there(const std::string &name, const std::string &bytes);

// What the journal says of one kind, oldest first: "booting de" for a prompt's name and language, "?" for one
// that is not known.
texts heard_of(const char *what);

// The numbers of one kind of line.
std::vector<int64_t> numbers_of(const char *what, const char *member);

// One command, as its answer's text.
std::string command(player_desk &desk, const char *name, const std::string &arguments = "{}");
