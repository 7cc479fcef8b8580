// SPDX-License-Identifier: MIT
#include "store/wire.h"

#include "common/run_folder.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

struct frame_head {
    uint32_t length; // of the whole frame
    uint16_t key_length;
    uint8_t space_length;
    wire_kind kind;
    uint64_t id;
    wire_status status;
    wire_type type;
    uint8_t spare[6];
};

static_assert(sizeof(frame_head) == 24);

constexpr size_t space_max = UINT8_MAX;
constexpr size_t frame_max = sizeof(frame_head) + space_max + wire_key_max + wire_value_max;
constexpr size_t read_step = 64 * 1024;
constexpr size_t spent_max = 64 * 1024; // bytes already taken that may lie at the front

size_t wire_waiting(const wire_buffer &buffer)
{
    return buffer.bytes.size() - buffer.taken;
}

static void drop_taken(wire_buffer &buffer)
{
    if (buffer.taken == buffer.bytes.size())
        buffer.bytes.clear();
    else if (buffer.taken < spent_max || buffer.taken < buffer.bytes.size() / 2)
        return;
    else
        buffer.bytes.erase(0, buffer.taken);
    buffer.taken = 0;
}

bool wire_put(wire_buffer &buffer, const wire_message &message)
{
    if (message.space.size() > space_max || message.key.size() > wire_key_max ||
        message.value.text.size() > wire_value_max)
        return false;

    frame_head head = {};
    head.length = static_cast<uint32_t>(sizeof head + message.space.size() + message.key.size() +
                                        message.value.text.size());
    head.key_length = static_cast<uint16_t>(message.key.size());
    head.space_length = static_cast<uint8_t>(message.space.size());
    head.kind = message.kind;
    head.id = message.id;
    head.status = message.status;
    head.type = message.value.type;

    buffer.bytes.append(reinterpret_cast<const char *>(&head), sizeof head);
    buffer.bytes += message.space;
    buffer.bytes += message.key;
    buffer.bytes += message.value.text;
    return true;
}

static bool head_is_sound(const frame_head &head)
{
    return head.length >= sizeof head && head.length <= frame_max && head.key_length <= wire_key_max &&
           sizeof head + head.space_length + head.key_length <= head.length &&
           head.length - sizeof head - head.space_length - head.key_length <= wire_value_max &&
           head.kind >= wire_kind::hello && head.kind <= wire_kind::notification;
}

wire_taken wire_take(wire_buffer &buffer, wire_message &message)
{
    frame_head head;
    if (wire_waiting(buffer) < sizeof head)
        return wire_taken::nothing;
    const char *frame = buffer.bytes.data() + buffer.taken;
    memcpy(&head, frame, sizeof head);
    if (!head_is_sound(head))
        return wire_taken::malformed;
    if (wire_waiting(buffer) < head.length)
        return wire_taken::nothing;

    const char *space = frame + sizeof head;
    const char *key = space + head.space_length;
    const char *value = key + head.key_length;
    message.kind = head.kind;
    message.status = head.status;
    message.id = head.id;
    message.space.assign(space, head.space_length);
    message.key.assign(key, head.key_length);
    message.value.type = head.type;
    message.value.text.assign(value, static_cast<size_t>(frame + head.length - value));

    buffer.taken += head.length;
    drop_taken(buffer);
    return wire_taken::message;
}

bool wire_read(int fd, wire_buffer &in, size_t limit)
{
    char chunk[read_step];
    for (size_t total = 0; total < limit;) {
        const ssize_t count = recv(fd, chunk, sizeof chunk, MSG_DONTWAIT);
        if (count == 0)
            return false;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno == EAGAIN;
        in.bytes.append(chunk, static_cast<size_t>(count));
        total += static_cast<size_t>(count);
        if (static_cast<size_t>(count) < sizeof chunk)
            return true;
    }
    return true;
}

bool wire_write(int fd, wire_buffer &out)
{
    while (wire_waiting(out) > 0) {
        const ssize_t count =
            send(fd, out.bytes.data() + out.taken, wire_waiting(out), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno == EAGAIN;
        out.taken += static_cast<size_t>(count);
        drop_taken(out);
    }
    return true;
}

int wire_connect()
{
    const std::string path = run_folder_path("store");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);

    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    // The send time-out also bounds how long a connection waits in the queue of a service that stands still.
    const timeval patience = { .tv_sec = 1, .tv_usec = 0 };
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        fcntl(fd, F_SETFL, O_NONBLOCK) == 0)
        return fd;
    close(fd);
    return -1;
}

bool wire_number(const std::string &text, uint64_t &number)
{
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

bool wire_value_is_sound(const wire_value &value)
{
    uint64_t number = 0;
    if (value.type == wire_type::number)
        return wire_number(value.text, number) && std::to_string(number) == value.text;
    return value.type == wire_type::text && value.text.size() <= wire_value_max;
}
