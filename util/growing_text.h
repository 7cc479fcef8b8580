// SPDX-License-Identifier: MIT
// growing_text.h - a text without a bound, for messages that must go out whole. Any thread.
#pragma once

#include "util/guards.h"

// Starts as {}: empty, without memory. The text is ended by a NUL whenever something has been added.
struct growing_text {
    text_ptr text;
    size_t length = 0; // without the NUL
    size_t room = 0;   // bytes, with the NUL
};

// False: memory ran out, and the text is as it was.
bool growing_text_add(growing_text &to, const char *piece);
bool growing_text_print(growing_text &to, const char *format, ...) __attribute__((format(printf, 2, 3)));
