// SPDX-License-Identifier: MIT
#include "cloud/daemon_link.h"

#include "common/clock.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

static constexpr size_t most_waiting = 1024 * 1024;

int link_listen(uint16_t port)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listener < 0)
        return -1;
    // The port of a cloud client that was killed is free at once.
    const int yes = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0 ||
        bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener, 4) != 0) {
        const int reason = errno;
        close(listener);
        errno = reason;
        return -1;
    }
    return listener;
}

bool link_accept(daemon_link &link, int listener)
{
    const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0)
        return false;
    const int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
    link_close(link);
    link.fd = fd;
    return true;
}

void link_close(daemon_link &link)
{
    if (link.fd >= 0)
        close(link.fd);
    link = daemon_link{};
}

bool link_send(daemon_link &link, const std::string &text)
{
    if (link.fd < 0 || link.out_bytes + text.size() > most_waiting)
        return false;
    if (text.empty())
        return true;
    link.out.push_back(text);
    link.out_bytes += text.size();
    return true;
}

static bool has_room(int fd)
{
    pollfd entry = { fd, POLLOUT, 0 };
    return poll(&entry, 1, 0) == 1 && (entry.revents & POLLOUT) != 0;
}

bool link_flush(daemon_link &link, link_sent sent, void *argument)
{
    while (!link.out.empty() && has_room(link.fd)) {
        const std::string &text = link.out.front();
        // Before it goes, so that nothing the daemon does about it stands earlier in the journal.
        if (link.first_gone == 0)
            sent(argument, text);
        const ssize_t gone =
            ::send(link.fd, text.data() + link.first_gone, text.size() - link.first_gone, MSG_NOSIGNAL);
        if (gone < 0)
            return errno == EAGAIN || errno == EINTR;
        link.first_gone += static_cast<size_t>(gone);
        if (link.first_gone < text.size())
            continue;
        link.out_bytes -= text.size();
        link.out.pop_front();
        link.first_gone = 0;
    }
    return true;
}

bool link_receive(daemon_link &link)
{
    char buffer[16 * 1024];
    // One buffer a turn: a daemon that floods the link keeps neither commands nor the network waiting.
    const ssize_t count = recv(link.fd, buffer, sizeof(buffer), 0);
    if (count < 0)
        return errno == EAGAIN || errno == EINTR;
    if (count == 0)
        return false;
    link.in.held.append(buffer, static_cast<size_t>(count));
    link.held_since_ns = clock_monotonic_ns();
    return true;
}
