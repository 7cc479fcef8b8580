// SPDX-License-Identifier: MIT
// rotation.h - turning the head for tracking, and bringing it back. Any thread; what it needs of kit is
// shared.
//
// A rotation is under way from its start until its stop: kit.track_time holds the second of its start and
// kit.tracking is set. Whoever starts one does not end it; the tick asks for the stop five seconds later.
#pragma once

// Turns the head by the "[h,v,x]" degrees of text, read the way sscanf reads them; x is not used. A positive
// number turns one way, a negative one the other, and both are swapped while the picture is flipped.
// waits_for_rest: after each axis until the device kit reports rest, however long that takes, or until the
// daemon shuts down. Never on the main thread.
void rotation_start(const char *text, bool waits_for_rest);

// Sends the head to the position last reported and ends the rotation. Refused, with a log line, within five
// seconds of a movement that the device kit reported: the rotation then stays under way. Does not wait.
void rotation_stop(void);

// Carries out one command of the rotation channel: "stop", or degrees as above. One that comes while another
// is carried out is dropped. The first argument has no effect.
void shm_message(int ignored, const char *command);
