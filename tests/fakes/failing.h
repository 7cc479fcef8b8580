// SPDX-License-Identifier: MIT
// failing.h - lets a call that the daemon makes of the platform or of the system fail, whichever it is. Every
// fake of a call that can fail asks.
#pragma once

// The nth such call from now on of the thread that asked fails, once; 1 is the next.
void call_fails(int nth);

// Whether it came to that; also ends the watch.
bool call_failed();

// For the fakes.
bool call_is_to_fail();
