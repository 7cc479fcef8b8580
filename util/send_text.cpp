// SPDX-License-Identifier: MIT
#include "util/send_text.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

int send_text(int sock, const char *text)
{
    if (sock < 1)
        return -1;
    size_t length = strlen(text);
    ssize_t sent = send(sock, text, length, 0);
    bool timed_out = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    bool cut = sent >= 0 && static_cast<size_t>(sent) < length;
    if (timed_out || cut)
        shutdown(sock, SHUT_RDWR);
    return static_cast<int>(sent);
}
