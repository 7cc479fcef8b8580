// SPDX-License-Identifier: MIT
// module.h - the table of feature modules: each brings cloud methods, store keys and hooks that the core
// walks. Read, never changed, after start-up. Main thread only.
#pragma once

#include <cstdint>

// Writes its whole reply into the 1024 bytes of ackbuf and sets *reply_flag to 1 when it is to be sent.
typedef void (*module_method_handler)(const char *msg, int32_t id, char *ackbuf, const char *method,
                                      int32_t *reply_flag, int sock);

struct module_method {
    const char *name;
    module_method_handler handler;
};

struct module {
    const char *name;
    const module_method *methods; // NULL: none
    int32_t method_count;
    const char *const *mem_keys; // NULL: none
    int32_t mem_key_count;
    const char *const *nvram_keys; // NULL: none
    int32_t nvram_key_count;
    void (*selvar_callback)(const char *key, const void *value); // value NULL: the key was removed
    int32_t (*init)(void *);                                     // not 0: the daemon does not start
    int32_t (*msg_handler)(void *, void *, void *);              // nobody calls it
    void (*exit)(void *);
};

// One slot, and none in use: the region lock stands ready but is not entered.
extern struct module module_table[1];
extern int32_t module_count;
