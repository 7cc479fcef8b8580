// SPDX-License-Identifier: MIT
#include "util/file_start.h"

#include "util/guards.h"

#include <fcntl.h>

bool file_start(const char *path, char *text, size_t size)
{
    text[0] = '\0';
    fd_guard file(open(path, O_RDONLY | O_CLOEXEC));
    if (file.fd < 0)
        return false;
    ssize_t got = read(file.fd, text, size - 1);
    text[got > 0 ? got : 0] = '\0';
    return true;
}
