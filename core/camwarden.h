// SPDX-License-Identifier: MIT
// camwarden.h - start-up, the loop, shutdown, and the links to the store and the player. Main thread only.
#pragma once

// The whole life of the daemon. Returns its exit status: -1 without a timer, 0 without a store, the result of
// a feature module that could not start, otherwise 0 when polling failed. SIGINT ends the process with status
// -1 instead.
int camwarden_main(void);

// Shuts everything down in order and ends the process. SIGINT is open only while the loop waits, so this
// never interrupts a half-done operation.
[[noreturn]] void kit_sigint_handler(int signal);

// The store's descriptor is readable. Always 0; a store that has gone is closed, and the tick brings it back.
int selvar_close_retry(void);

void selvar_close(void);
void selvar_connect_retry(void);

// The same for the player's.
int sound_close_retry(void);
void sound_close(void);
void sound_connect_retry(void);
