// SPDX-License-Identifier: MIT
// stream.cpp - bytes of the cloud client, cut in any way. A piece is what one recv finds; more than it asked
// for waits for the next. An empty piece ends a burst, and behind the last one the client hangs up.
#include "core/otd_link.h"
#include "fuzz/desk.h"
#include "fuzz/pieces.h"

#include "core/kit.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>

static std::deque<std::string> coming;

extern "C" ssize_t recv(int, void *buffer, size_t size, int)
{
    if (coming.empty())
        return 0;
    std::string &piece = coming.front();
    if (piece.empty()) {
        coming.pop_front();
        errno = EAGAIN;
        return -1;
    }
    size_t count = std::min(size, piece.size());
    memcpy(buffer, piece.data(), count);
    piece.erase(0, count);
    if (piece.empty())
        coming.pop_front();
    return static_cast<ssize_t>(count);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    fuzz_desk desk;
    std::vector<std::string> pieces = pieces_of(bytes, size);
    coming.assign(pieces.begin(), pieces.end());
    while (kit.otd_sock > 0)
        otd_recv_handler(kit.otd_sock);
    return 0;
}
