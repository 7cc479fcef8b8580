// SPDX-License-Identifier: MIT
// speaker.h - really plays what the camera's player plays, on this machine, by paplay or aplay.
#pragma once

#include "ctl/place.h"

#include <sys/types.h>

#include <string>

// What is in the way, as one sentence; "": nothing. Plays a tenth of a second of silence to see.
std::string speaker_trouble();

// Leaves a process behind that plays until the calling process ends, where nothing was in the way. The camera
// must leave what it plays in the run folder: stage --speaker.
void speaker_start(const place &where);
