// SPDX-License-Identifier: MIT
// sound_entry.h - one loaded prompt: its file mapped into memory, never copied.
#pragma once

#include <cstdint>

struct sound_entry {
    char name[32];     // cut
    const char *data;  // the whole file, read-only
    uint32_t map_len;  // of the mapping: size in whole pages
    uint32_t size;     // of the file
    sound_entry *prev; // in the queue's head: the tail
    sound_entry *next; // NULL in the tail
};

// The caller frees it. NULL: the file cannot be opened, is empty or does not fit into memory; nothing is left
// behind but the log line.
sound_entry *sound_entry_load(const char *name, const char *language);
void sound_entry_free(sound_entry *entry);
