// SPDX-License-Identifier: MIT
// file_start.h - the beginning of a small file. Any thread.
#pragma once

#include <cstddef>

// Reads once, at most size - 1 bytes, and ends them with a NUL. False when path cannot be opened; one that
// opens and cannot be read counts as empty. The text is empty in both cases.
bool file_start(const char *path, char *text, size_t size);
