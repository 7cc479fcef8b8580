// SPDX-License-Identifier: MIT
// selvar_callbacks.h - what the store library calls back, inside a library call of selvar_nvram.cpp and so
// while this thread has the library to itself. Of use to the store client only.
#pragma once

#include "libselvar.h"
#include "store/selvar_nvram.h"

// While it lives, this thread has the library to itself. May be nested: a device event can come on the thread
// that is inside the library, and writes to the store.
struct selvar_guard {
    selvar_guard();
    ~selvar_guard();
    selvar_guard(const selvar_guard &) = delete;
    selvar_guard &operator=(const selvar_guard &) = delete;
};

void selvar_callback_set(selvar_notify callback);

void set_callback(selvar_handle *handle, const xresponse *reply);
void set_timout_callback(selvar_handle *handle, const xresponse *reply);
void get_callback(selvar_handle *handle, const xresponse *reply);
void get_timout_callback(selvar_handle *handle, const xresponse *reply);
void notify_cb(selvar_handle *handle, const xresponse *reply);
void notify_timeout_cb(selvar_handle *handle, const xresponse *reply);
void other_cb(selvar_handle *handle, const xresponse *reply);
void other_timeout_cb(selvar_handle *handle, const xresponse *reply);

// The one read that may be under way: forget the last result, then take what get_callback left. key is the
// one asked for, 127 characters at most. 0 or -1.
void selvar_read_clear(void);
int selvar_read_take(const char *key, char *buffer, int size);
