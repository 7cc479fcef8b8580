// SPDX-License-Identifier: MIT
#include "receiver.h"

#include "common/host_time.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

// How long one message waits for room: a player that reads makes some within a few milliseconds, and the
// daemon does nothing else meanwhile.
static constexpr int patience_ms = 500;

// Room for some prompts, so that a player that is busy for a moment is not waited for at all.
static constexpr int room_wanted = 1024 * 1024;

static int fail(int error)
{
    errno = error;
    return -1;
}

int wrax_rcv_global_init(void)
{
    return 0;
}

void wrax_rcv_global_exit(void) {}

wrax_rcv *wrax_rcv_create(const char *path)
{
    const size_t length = path == nullptr ? 0 : strlen(path);
    if (length == 0 || length >= sizeof(sockaddr_un::sun_path)) {
        errno = length == 0 ? EINVAL : ENAMETOOLONG;
        return nullptr;
    }
    wrax_rcv *receiver = new (std::nothrow) wrax_rcv;
    if (receiver == nullptr)
        return nullptr;
    receiver->address.sun_family = AF_UNIX;
    memcpy(receiver->address.sun_path, path, length);
    return receiver;
}

int wrax_rcv_start(wrax_rcv *receiver)
{
    if (receiver == nullptr)
        return fail(EINVAL);
    if (receiver->fd >= 0)
        return fail(EISCONN);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room_wanted, sizeof room_wanted);
    const auto *address = reinterpret_cast<const sockaddr *>(&receiver->address);
    if (connect(fd, address, sizeof receiver->address) != 0) {
        const int error = errno;
        close(fd);
        return fail(error);
    }
    receiver->fd = fd;
    return 0;
}

// False: none came before the deadline.
static bool wait_for_room(int fd, int64_t deadline_ms)
{
    const int64_t left_ms = deadline_ms - host_time_ms();
    pollfd watched = { .fd = fd, .events = POLLOUT, .revents = 0 };
    if (left_ms <= 0)
        return false;
    return poll(&watched, 1, static_cast<int>(left_ms)) != 0;
}

// A packet goes whole or not at all.
static int send_packet(int fd, const void *bytes, size_t length, int64_t deadline_ms)
{
    for (;;) {
        if (send(fd, bytes, length, MSG_NOSIGNAL) >= 0)
            return 0;
        if (errno != EAGAIN)
            return -1;
        if (!wait_for_room(fd, deadline_ms))
            return fail(EAGAIN);
    }
}

int wrax_rcv_send_message(wrax_rcv *receiver, const void *bytes, int length)
{
    if (receiver == nullptr || bytes == nullptr || length <= 0)
        return fail(EINVAL);
    if (!receiver->greeted || receiver->gone)
        return fail(ENOTCONN);
    const auto size = static_cast<size_t>(length);
    if (size > bus_longest)
        return fail(EMSGSIZE);
    const int64_t deadline_ms = receiver->stuck ? 0 : host_time_ms() + patience_ms;
    const int result = send_packet(receiver->fd, bytes, size, deadline_ms);
    receiver->stuck = result != 0 && errno == EAGAIN;
    return result;
}

void wrax_rcv_destroy(wrax_rcv *receiver)
{
    if (receiver != nullptr && receiver->fd >= 0)
        close(receiver->fd);
    delete receiver;
}
