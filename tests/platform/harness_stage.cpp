// SPDX-License-Identifier: MIT
#include "harness.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

static constexpr int longest_wait_ms = 20000;

void desk_stage_listen(desk_stage &stage)
{
    const std::string path = desk_path("control");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    stage.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(stage.listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(stage.listener, 8), 0);
}

void desk_stage_hang_up(desk_stage &stage)
{
    if (stage.connection >= 0)
        close(stage.connection);
    stage.connection = -1;
    stage.in.clear();
}

void desk_stage_close(desk_stage &stage)
{
    desk_stage_hang_up(stage);
    if (stage.passed_fd >= 0)
        close(stage.passed_fd);
    if (stage.listener >= 0)
        close(stage.listener);
    stage.passed_fd = stage.listener = -1;
}

static bool is_readable(int fd)
{
    pollfd watched = { .fd = fd, .events = POLLIN, .revents = 0 };
    return poll(&watched, 1, longest_wait_ms) == 1;
}

// One read; false when the peer has ended.
static bool read_some(desk_stage &stage)
{
    alignas(cmsghdr) char ancillary[CMSG_SPACE(sizeof(int))] = {};
    char bytes[4096];
    iovec room = { .iov_base = bytes, .iov_len = sizeof bytes };
    msghdr message = {};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = ancillary;
    message.msg_controllen = sizeof ancillary;
    const ssize_t n = recvmsg(stage.connection, &message, MSG_CMSG_CLOEXEC);
    if (n <= 0)
        return false;
    stage.in.append(bytes, static_cast<size_t>(n));
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_type == SCM_RIGHTS)
        memcpy(&stage.passed_fd, CMSG_DATA(header), sizeof stage.passed_fd);
    return true;
}

static bool accept_peer(desk_stage &stage)
{
    if (!is_readable(stage.listener))
        return false;
    stage.connection = accept4(stage.listener, nullptr, nullptr, SOCK_CLOEXEC);
    stage.connections++;
    return stage.connection >= 0;
}

json_ptr desk_stage_receive(desk_stage &stage)
{
    if (stage.passed_fd >= 0)
        close(stage.passed_fd);
    stage.passed_fd = -1;
    for (;;) {
        const size_t end = stage.in.find('\n');
        if (end != std::string::npos) {
            json_ptr line = json_parse(stage.in.substr(0, end));
            stage.in.erase(0, end + 1);
            return line;
        }
        if (stage.connection < 0 && !accept_peer(stage))
            return nullptr;
        if (!is_readable(stage.connection))
            return nullptr;
        if (!read_some(stage))
            desk_stage_hang_up(stage);
    }
}

void desk_stage_send(desk_stage &stage, const std::string &line)
{
    const std::string text = line + "\n";
    ASSERT_EQ(send(stage.connection, text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
}
