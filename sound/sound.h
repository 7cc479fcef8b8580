// SPDX-License-Identifier: MIT
// sound.h - prompts, and the link to the audio player. Main thread only; what the player sends arrives inside
// sound_recv.
#pragma once

// A message of the player: its bytes, of which the first 12 are a header, and the text behind the header.
typedef int (*sound_message_handler)(const char *key, const char *msg);

constexpr int sound_queued = 1; // a flag of sound_play

// The descriptor to poll, or -1 (also while no player listens). Queued prompts go out when the player
// connects.
int sound_init(sound_message_handler handler);
void sound_exit(void); // what is still queued is dropped; may be called twice

// The descriptor is readable: 0, or -1 when the link is gone.
int sound_recv(void);

// 1 while the player is connected. A prompt may be played at any time.
int sound_is_ready(void);

// Plays the file name below /mnt/data/sound/LANGUAGE/, or below /mnt/data/sound/ for the language "" and for
// one that has no folder. With sound_queued it waits until it can be sent, and 0 says that it was loaded;
// otherwise 0 says that it was sent. -1: dropped, with a log line.
int sound_play(const char *name, int flags, const char *language);

// Mute and unmute the player: what the bus made of it, negative on failure; -1 without a link.
int sound_ban(void);
int sound_unban(void);
