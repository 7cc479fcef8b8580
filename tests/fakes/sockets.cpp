// SPDX-License-Identifier: MIT
#include "fakes/sockets.h"
#include "fakes/failing.h"
#include "fakes/system_calls.h"

#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <optional>

struct send_outcome {
    long result;
    int error;
};

static std::mutex mutex;
static std::vector<sent_message> messages;
static std::optional<send_outcome> next_outcome;

std::vector<sent_message> sends()
{
    std::lock_guard<std::mutex> lock(mutex);
    return messages;
}

texts sent_texts()
{
    texts result;
    for (const sent_message &each : sends())
        result.push_back(each.text);
    return result;
}

void sends_reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    messages.clear();
    next_outcome.reset();
}

void next_send_gives(long result, int error)
{
    std::lock_guard<std::mutex> lock(mutex);
    next_outcome = { result, error };
}

static bool is_socket(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

static std::optional<send_outcome> note_send(int fd, const std::string &text, int flags)
{
    record_call("send(%d, %s)", fd, text.c_str());
    std::lock_guard<std::mutex> lock(mutex);
    messages.push_back({ fd, text, flags });
    std::optional<send_outcome> outcome = next_outcome;
    next_outcome.reset();
    if (call_is_to_fail())
        outcome = { -1, EPIPE };
    return outcome;
}

extern "C" ssize_t send(int fd, const void *bytes, size_t length, int flags)
{
    using function = ssize_t(int, const void *, size_t, int);
    static auto *const real_send = reinterpret_cast<function *>(dlsym(RTLD_NEXT, "send"));

    auto outcome = note_send(fd, std::string(static_cast<const char *>(bytes), length), flags);
    if (outcome) {
        errno = outcome->error;
        return outcome->result;
    }
    return is_socket(fd) ? real_send(fd, bytes, length, flags) : static_cast<ssize_t>(length);
}

cloud_pair::cloud_pair()
{
    int ends[2] = { -1, -1 };
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    daemon = ends[0];
    cloud = ends[1];
}

// The daemon closes its end itself when the link goes down; a number that it has closed may be another's.
cloud_pair::~cloud_pair()
{
    if (daemon_end_is_open())
        close(daemon);
    if (cloud >= 0)
        close(cloud);
}

void cloud_pair::writes(const std::string &text) const
{
    EXPECT_EQ(write(cloud, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void cloud_pair::hangs_up()
{
    close(cloud);
    cloud = -1;
}

std::string cloud_pair::reads() const
{
    std::string text;
    char piece[4096];
    for (;;) {
        ssize_t count = recv(cloud, piece, sizeof(piece), MSG_DONTWAIT);
        if (count <= 0)
            return text;
        text.append(piece, static_cast<size_t>(count));
    }
}

bool cloud_pair::daemon_end_is_open() const
{
    return is_socket(daemon);
}

bool cloud_pair::daemon_has_hung_up() const
{
    char byte = 0;
    return recv(cloud, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
}

cloud_listener::cloud_listener()
{
    fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), length), 0);
    EXPECT_EQ(listen(fd, 4), 0);
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length), 0);
    libc.connect_port = ntohs(address.sin_port);
}

cloud_listener::~cloud_listener()
{
    libc.connect_port = 0;
    close(fd);
}

int cloud_listener::accepts() const
{
    int accepted = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_GE(accepted, 0);
    timeval patience = { 1, 0 };
    EXPECT_EQ(setsockopt(accepted, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)), 0);
    return accepted;
}

std::string read_exactly(int fd, size_t wanted)
{
    std::string text;
    char piece[4096];
    while (text.size() < wanted) {
        ssize_t count = recv(fd, piece, std::min(sizeof(piece), wanted - text.size()), 0);
        if (count <= 0)
            return text;
        text.append(piece, static_cast<size_t>(count));
    }
    return text;
}
