// SPDX-License-Identifier: MIT
// kit_link.h - the device kit's two connections to stage: one for calls, used under a lock from any thread,
// one for events, read by a thread of the kit's own.
//
// The lock is held for one call at most, never while the callback runs or while the event thread is waited
// for: the callback may call the kit.
#pragma once

#include "common/json.h"

#include <libcam_warden.h>

// False: already open, or stage is not there; nothing is left behind. The event thread has every signal
// blocked.
bool kit_open(torvu_event_callback callback);

// No callback runs any more when it returns, unless it is called from the callback itself: then that was the
// last.
void kit_close(void);

// Asks stage to do command and waits for at most two seconds of host time: what "done" holds; NULL when the
// kit is not open, stage is not there, does not answer or refuses.
json_ptr kit_ask(const char *command, json_ptr arguments);
