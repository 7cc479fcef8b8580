// SPDX-License-Identifier: MIT
// sound_queue.h - the prompts that wait, oldest first: a doubly linked list whose head's prev is the tail, so
// that appending needs no walk. Empty: NULL. An entry without a prev means that memory is not what it was;
// the process stops with an assertion.
#pragma once

#include "sound/sound_entry.h"

void sound_queue_append(sound_entry *&head, sound_entry *entry); // takes it over
void sound_queue_unlink(sound_entry *&head, sound_entry *entry); // gives it back; entry is in the queue
