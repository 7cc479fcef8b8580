// SPDX-License-Identifier: MIT
// notify.h - the store keys that the daemon watches, and what a change of each does. Main thread only. There
// is no other way in for a setting: who wants to change one writes the store.
#pragma once

// After every (re)connection of the store, and before it is closed.
void selvar_register_keys(void);
void selvar_unregister_keys(void);

// value: a text, NULL when the key was removed, and for "time_night" a const uint64_t *. During a delivery by
// the store client a value of the wrong type is dropped; a direct caller is trusted.
void selvar_notify_handler(const char *key, const void *value);
