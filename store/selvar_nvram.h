// SPDX-License-Identifier: MIT
// selvar_nvram.h - the store client: one connection to the key-value store for the whole daemon.
//
// Setters may be called from any thread, also from inside a call of the library: one lock is held for one
// library call. It is let go while the notification callback runs, so the callback may use every function
// here but selvar_mem_get_string. Init, exit, response and registration belong to the main thread.
//
// Keys and string values are cut to 127 characters. "0 when sent" says nothing of the outcome, which is only
// logged. While closed every function but exit and selvar_mem_set_unlimit_len logs and returns -1.
#pragma once

#include <cstdint>

// value: a text, NULL when the key has no value, "error" or "timeout" when the library failed, or a const
// uint64_t *; selvar_delivered_type tells which.
typedef void (*selvar_notify)(const char *key, const void *value);

// What is being delivered to the callback at this moment, on the thread that delivers.
enum {
    selvar_delivers_nothing = -1,
    selvar_delivers_null = 0,
    selvar_delivers_text = 1,
    selvar_delivers_u64 = 5
};
extern int selvar_delivered_type; // "error" and "timeout" count as selvar_delivers_null

int selvar_nvram_init(selvar_notify callback); // the descriptor to poll, or -1
int selvar_nvram_exit(void);                   // always 0; may be called twice
int selvar_nvram_response(void);               // descriptor readable: 0, -2 when the connection is gone

int selvar_nvram_set_string(const char *key, const char *value, int length); // length is ignored
int selvar_mem_set_string(const char *key, const char *value, int length);   // length is ignored
int selvar_mem_set_uint64(const char *key, uint64_t value);

// Neither copied nor cut; the library's result, 1 or 0.
int selvar_mem_set_unlimit_len(const char *key, int type, const void *value);

// Waits for the store's answer. A value as long as the buffer arrives cut by one character, a longer one is
// refused.
int selvar_mem_get_string(const char *key, char *buffer, int size);

// space: "nvram" or "mem".
int selvar_nvram_register_notify(const char *space, const char *key);
int selvar_nvram_unregister_notify(const char *space, const char *key); // the library's result, 1 or 0
int selvar_nvram_unset(const char *space, const char *key);

int selvar_nvram_restore(void); // nvram back to the factory defaults; the library's result, 1 or 0
int selvar_nvram_sync(void);    // nvram to storage; the library's result, 1 or 0
