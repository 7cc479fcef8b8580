// SPDX-License-Identifier: MIT
#include "sound/sound_queue.h"

#undef NDEBUG // the queue is checked in every build
#include <cassert>

// clang-format off
static void check(const sound_entry *e)
{
    assert((e)->prev != ((void *)0)); // the program's last words, to the letter
}
// clang-format on

void sound_queue_append(sound_entry *&head, sound_entry *entry)
{
    entry->next = nullptr;
    if (!head) {
        entry->prev = entry;
        head = entry;
        return;
    }
    check(head);
    entry->prev = head->prev;
    head->prev->next = entry;
    head->prev = entry;
}

void sound_queue_unlink(sound_entry *&head, sound_entry *entry)
{
    check(entry);
    if (entry == head) {
        head = entry->next;
        if (head)
            head->prev = entry->prev;
        return;
    }
    entry->prev->next = entry->next;
    sound_entry *behind = entry->next ? entry->next : head;
    behind->prev = entry->prev;
}
