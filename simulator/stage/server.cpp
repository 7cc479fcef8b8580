// SPDX-License-Identifier: MIT
#include "stage/server.h"

#include "common/control.h"
#include "common/json.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

constexpr size_t most_unread_bytes = 4U << 20; // by a peer that does not read, before it is dropped
constexpr size_t busy_bytes = 256U << 10;      // so many unread, and a peer's commands wait
constexpr size_t longest_line = 1U << 20;
constexpr size_t most_connections = 200;
constexpr size_t most_descriptors = 2; // that wait on one connection
constexpr int waiting_peers = 64;

bool server_open(server &server, const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    server.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (server.listener < 0)
        return false;
    if (bind(server.listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        return false;
    return listen(server.listener, waiting_peers) == 0;
}

static void drop(connection &connection)
{
    for (int fd : connection.passed)
        close(fd);
    connection.passed.clear();
    if (connection.fd >= 0)
        close(connection.fd);
    connection.fd = -1;
}

void server_close(server &server)
{
    for (auto &[id, connection] : server.connections)
        drop(connection);
    server.connections.clear();
    if (server.listener >= 0)
        close(server.listener);
    server.listener = -1;
}

static bool is_heard(const connection &connection)
{
    return connection.fd >= 0 && !connection.awaiting && connection.out.size() < busy_bytes;
}

void server_watch(const server &server, std::vector<pollfd> &watched)
{
    watched.push_back({ .fd = server.listener, .events = POLLIN, .revents = 0 });
    for (const auto &[id, connection] : server.connections) {
        short input = is_heard(connection) && !connection.ended ? POLLIN : 0;
        short output = connection.out.empty() ? 0 : POLLOUT;
        watched.push_back(
            { .fd = connection.fd, .events = static_cast<short>(input | output), .revents = 0 });
    }
}

static void accept_peers(server &server)
{
    for (;;) {
        int fd = accept4(server.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        if (server.connections.size() >= most_connections) {
            close(fd);
            continue;
        }
        uint64_t id = ++server.last_id;
        connection &connection = server.connections[id];
        connection.id = id;
        connection.fd = fd;
    }
}

static void keep_descriptors(connection &connection, msghdr &message)
{
    for (cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; i++) {
            int fd = -1;
            memcpy(&fd, CMSG_DATA(header) + i * sizeof fd, sizeof fd);
            if (connection.passed.size() < most_descriptors)
                connection.passed.push_back(fd);
            else
                close(fd);
        }
    }
}

// False: nothing more to read now.
static bool read_once(connection &connection)
{
    char bytes[16384];
    alignas(cmsghdr) char control[CMSG_SPACE(most_descriptors * sizeof(int))];
    iovec room = { .iov_base = bytes, .iov_len = sizeof bytes };
    msghdr message = {};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t length = recvmsg(connection.fd, &message, MSG_CMSG_CLOEXEC);
    if (length < 0 && (errno == EAGAIN || errno == EINTR))
        return false;
    if (length <= 0) {
        connection.ended = true;
        return false;
    }
    keep_descriptors(connection, message);
    connection.in.append(bytes, static_cast<size_t>(length));
    return true;
}

static void read_peer(connection &connection, bool hung_up)
{
    // A peer that has hung up left all that it will ever send; nobody else gets more than one turn a pass.
    while (read_once(connection) && hung_up && connection.in.size() <= longest_line) {
    }
    connection.hung_up = hung_up;
    if (connection.in.size() <= longest_line || connection.in.find('\n') < longest_line)
        return;
    server_send(connection, control_refused("that line is too long; send one JSON object a line"));
    drop(connection);
}

static void send_on(connection &connection)
{
    while (!connection.out.empty()) {
        ssize_t sent =
            send(connection.fd, connection.out.data(), connection.out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (sent < 0) {
            connection.deaf = true;
            connection.out.clear();
            return;
        }
        connection.out.erase(0, static_cast<size_t>(sent));
    }
}

void server_serve(server &server, const std::vector<pollfd> &watched)
{
    std::map<int, short> found;
    for (const pollfd &entry : watched) {
        if (entry.revents != 0)
            found[entry.fd] = entry.revents;
    }
    for (auto &[id, connection] : server.connections) {
        auto entry = found.find(connection.fd);
        if (entry == found.end())
            continue;
        if ((entry->second & POLLOUT) != 0)
            send_on(connection);
        if (connection.fd >= 0 && (entry->second & (POLLIN | POLLHUP | POLLERR)) != 0)
            read_peer(connection, (entry->second & (POLLHUP | POLLERR)) != 0);
    }
    // Last, so that a new peer never gets the events of a descriptor that was dropped in this pass.
    if (found.contains(server.listener))
        accept_peers(server);
}

bool server_take_line(connection &connection, std::string &line)
{
    if (!is_heard(connection))
        return false;
    size_t end = connection.in.find('\n');
    if (end == std::string::npos)
        return false;
    line.assign(connection.in, 0, end);
    connection.in.erase(0, end + 1);
    return true;
}

int server_take_descriptor(connection &connection)
{
    if (connection.passed.empty())
        return -1;
    int fd = connection.passed.front();
    connection.passed.erase(connection.passed.begin());
    return fd;
}

void server_send(connection &connection, json_object *message)
{
    if (connection.fd >= 0 && !connection.deaf) {
        connection.out += json_text(message);
        connection.out += '\n';
        send_on(connection);
        if (connection.out.size() > most_unread_bytes)
            drop(connection);
    }
    json_object_put(message);
}

void server_answer(server &server, uint64_t connection_id, json_object *message)
{
    connection *connection = server_find(server, connection_id);
    if (connection == nullptr) {
        json_object_put(message);
        return;
    }
    connection->awaiting = false;
    server_send(*connection, message);
}

connection *server_find(server &server, uint64_t connection_id)
{
    auto found = server.connections.find(connection_id);
    return found == server.connections.end() ? nullptr : &found->second;
}

static bool is_over(const connection &connection)
{
    if (connection.fd < 0 || connection.hung_up)
        return true;
    return connection.ended && is_heard(connection) && connection.out.empty();
}

std::vector<uint64_t> server_sweep(server &server)
{
    std::vector<uint64_t> gone;
    for (auto &[id, connection] : server.connections) {
        if (!is_over(connection))
            continue;
        drop(connection);
        gone.push_back(id);
    }
    for (uint64_t id : gone)
        server.connections.erase(id);
    return gone;
}

void server_flush(server &server, int host_ms)
{
    for (auto &[id, connection] : server.connections) {
        pollfd writable = { .fd = connection.fd, .events = POLLOUT, .revents = 0 };
        while (!connection.out.empty() && poll(&writable, 1, host_ms) > 0)
            send_on(connection);
    }
}
