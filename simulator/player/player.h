// SPDX-License-Identifier: MIT
// player.h - the virtual camera's audio player: the daemon's neighbour at the bus path /run/audio_play.
//
// One thread, one loop: player_wait sleeps until something is to be done and does it. What happens goes to
// the journal; what the outside wants comes through player_answer.
#pragma once

#include "player/pieces.h"
#include "player/playback.h"

#include <string>
#include <vector>

struct player_settings {
    std::string bus;    // path of its socket
    std::string sounds; // folder of the prompts

    // Writes a journal line; takes fields, which may be NULL.
    void (*note)(const char *what, json_object *fields) = nullptr;
    // Told of each prompt when it is about to begin, if not NULL; the bytes are kept for that alone.
    void (*begin)(const prompt &begun) = nullptr;
};

struct player_link {
    int fd = -1; // -1: has left
    prompt_pieces pieces;
};

struct player {
    player_settings settings;
    int listener = -1;
    std::vector<player_link> links; // one, but for a moment after the daemon was started anew
    playback sound;
    bool hangs = false; // reads nothing, as a player that hangs
};

// Listens. false: errno says why not.
bool player_open(player &self, const player_settings &settings);
void player_close(player &self);

// Waits for the daemon, for a prompt's end, or until other_fd (-1: none) is readable, at most a second, and
// serves the first two.
void player_wait(player &self, int other_fd);

// One command of the control socket, without the neighbour's name: hang, list, say, status.
// {"done":..} or {"refused":..}, the caller's.
json_object *player_answer(player &self, const char *command, json_object *arguments);
