// SPDX-License-Identifier: MIT
// text.h - bounded copies.
#pragma once

#include <cstring>

// Copies what fits and always ends with a NUL. size is the whole buffer, above 0.
inline void text_copy(char *buffer, size_t size, const char *text)
{
    if (!memccpy(buffer, text, '\0', size - 1))
        buffer[size - 1] = '\0';
}

inline bool text_equal(const char *a, const char *b)
{
    return strcmp(a, b) == 0;
}
