// SPDX-License-Identifier: MIT
#include "player/bus.h"

#include "player/wire.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

static int fail(int fd, int error)
{
    if (fd >= 0)
        close(fd);
    errno = error;
    return -1;
}

int bus_listen(const std::string &path)
{
    constexpr int most_waiting = 8;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return fail(-1, ENAMETOOLONG);
    memcpy(address.sun_path, path.c_str(), path.size());
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listener < 0)
        return -1;
    unlink(path.c_str()); // of a player that was killed
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, most_waiting) != 0)
        return fail(listener, errno);
    return listener;
}

int bus_accept(int listener)
{
    return accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

static bool send_packet(int fd, const std::string &packet)
{
    return send(fd, packet.data(), packet.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(packet.size());
}

bool bus_greet(int fd)
{
    return send_packet(fd, bus_hello);
}

bus_event bus_receive(int fd, std::string &message)
{
    message.resize(bus_longest);
    ssize_t count = -1;
    // A peer that left without reading all is told once as an error; what it sent before comes after that.
    do
        count = recv(fd, message.data(), message.size(), 0);
    while (count < 0 && (errno == EINTR || errno == ECONNRESET));
    message.resize(count > 0 ? static_cast<size_t>(count) : 0);
    if (count > 0)
        return bus_event::message;
    return count < 0 && errno == EAGAIN ? bus_event::nothing : bus_event::left;
}

bool bus_say(int fd, const std::string &name, const std::string &text)
{
    std::string packet = name.substr(0, bus_header_size - 1);
    packet.resize(bus_header_size);
    packet += text;
    return packet.size() <= bus_longest && send_packet(fd, packet);
}
