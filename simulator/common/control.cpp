// SPDX-License-Identifier: MIT
#include "common/control.h"

#include "common/host_time.h"
#include "common/json.h"
#include "common/run_folder.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

static constexpr int longest_send_ms = 5000;

// poll for one descriptor, deadline_ms -1 for ever; true when it is ready or broken.
static bool wait_until_ready(int fd, short events, int64_t deadline_ms)
{
    pollfd watched = { .fd = fd, .events = events, .revents = 0 };
    for (;;) {
        const int64_t left = deadline_ms < 0 ? -1 : std::max(INT64_C(0), deadline_ms - host_time_ms());
        const int ready = poll(&watched, 1, static_cast<int>(std::min<int64_t>(left, 1000000)));
        if (ready > 0)
            return true;
        if (ready == 0 && left <= 0)
            return false;
        if (ready < 0 && errno != EINTR)
            return true;
    }
}

bool control_connect(control_link &link)
{
    control_close(link);
    const std::string path = run_folder_path("control");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    memcpy(address.sun_path, path.c_str(), path.size());
    link.fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (link.fd < 0)
        return false;
    if (connect(link.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return true;
    control_close(link);
    return false;
}

// What has arrived before stays for control_receive.
static void hang_up(control_link &link)
{
    if (link.fd >= 0)
        close(link.fd);
    link.fd = -1;
}

void control_close(control_link &link)
{
    hang_up(link);
    link.in.clear();
}

static ssize_t send_some(int fd, const std::string &line, size_t from, int passed_fd)
{
    alignas(cmsghdr) char ancillary[CMSG_SPACE(sizeof passed_fd)] = {};

    iovec bytes = { .iov_base = const_cast<char *>(line.data()) + from, .iov_len = line.size() - from };
    msghdr message = {};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    if (passed_fd >= 0) {
        message.msg_control = ancillary;
        message.msg_controllen = sizeof ancillary;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof passed_fd);
        memcpy(CMSG_DATA(header), &passed_fd, sizeof passed_fd);
    }
    return sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

bool control_send(control_link &link, json_object *message, int passed_fd)
{
    if (link.fd < 0)
        return false;
    const std::string line = json_text(message) + "\n";
    size_t sent = 0;
    int64_t deadline = host_time_ms() + longest_send_ms;
    while (sent < line.size()) {
        const ssize_t n = send_some(link.fd, line, sent, sent == 0 ? passed_fd : -1);
        if (n > 0) {
            sent += static_cast<size_t>(n);
            deadline = host_time_ms() + longest_send_ms;
            continue;
        }
        const bool full = n < 0 && (errno == EAGAIN || errno == EINTR);
        if (!full || !wait_until_ready(link.fd, POLLOUT, deadline)) {
            hang_up(link);
            return false;
        }
    }
    return true;
}

// The next line that is a JSON object, NULL when none is whole.
static json_object *take_object(control_link &link)
{
    for (;;) {
        const size_t end = link.in.find('\n');
        if (end == std::string::npos)
            return nullptr;
        json_ptr message = json_parse(link.in.substr(0, end));
        link.in.erase(0, end + 1);
        if (json_object_is_type(message.get(), json_type_object))
            return message.release();
    }
}

json_object *control_receive(control_link &link, int timeout_ms)
{
    const int64_t deadline = timeout_ms < 0 ? -1 : host_time_ms() + timeout_ms;
    for (;;) {
        json_object *message = take_object(link);
        if (message != nullptr || link.fd < 0)
            return message;
        if (!wait_until_ready(link.fd, POLLIN, deadline))
            return nullptr;
        char bytes[16384];
        const ssize_t n = recv(link.fd, bytes, sizeof bytes, MSG_DONTWAIT);
        if (n > 0)
            link.in.append(bytes, static_cast<size_t>(n));
        else if (n == 0 || (errno != EAGAIN && errno != EINTR))
            hang_up(link);
    }
}

json_object *control_ask(control_link &link, json_object *message, int timeout_ms)
{
    if (!control_send(link, message))
        return nullptr;
    json_object *answer = control_receive(link, timeout_ms);
    if (answer == nullptr)
        control_close(link);
    return answer;
}

json_object *control_done(json_object *result)
{
    json_object *answer = json_object_new_object();
    json_object_object_add(answer, "done", result == nullptr ? json_object_new_object() : result);
    return answer;
}

json_object *control_refused(const std::string &sentence)
{
    return json_of("refused", sentence).release();
}
