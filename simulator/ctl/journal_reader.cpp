// SPDX-License-Identifier: MIT
#include "ctl/journal_reader.h"

#include "common/host_time.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

static void open_file(journal_reader &reader)
{
    if (reader.fd < 0)
        reader.fd = open(reader.path.c_str(), O_RDONLY | O_CLOEXEC);
}

void journal_reader_open(journal_reader &reader, const std::string &run_folder, bool from_end)
{
    reader.path = run_folder + "/journal";
    reader.watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (reader.watch >= 0)
        inotify_add_watch(reader.watch, run_folder.c_str(), IN_MODIFY | IN_CREATE);
    open_file(reader);
    if (from_end && reader.fd >= 0)
        lseek(reader.fd, 0, SEEK_END);
}

void journal_reader_close(journal_reader &reader)
{
    if (reader.fd >= 0)
        close(reader.fd);
    if (reader.watch >= 0)
        close(reader.watch);
    reader = journal_reader{};
}

// The next whole line of what has been read.
static bool take_line(journal_reader &reader, std::string &line)
{
    const size_t end = reader.held.find('\n');
    if (end == std::string::npos)
        return false;
    line = reader.held.substr(0, end);
    reader.held.erase(0, end + 1);
    return true;
}

static json_ptr take_entry(journal_reader &reader)
{
    std::string line;
    while (take_line(reader, line)) {
        json_ptr entry = json_parse(line);
        if (json_object_is_type(entry.get(), json_type_object))
            return entry;
    }
    return nullptr;
}

static bool read_more(journal_reader &reader)
{
    char buffer[64 * 1024];
    open_file(reader);
    const ssize_t count = reader.fd < 0 ? 0 : read(reader.fd, buffer, sizeof(buffer));
    if (count <= 0)
        return false;
    reader.held.append(buffer, static_cast<size_t>(count));
    return true;
}

// false: a signal came, or something for the other descriptor. Where the system has no watch left to give,
// the file is looked at often instead.
static bool wait_for_change(const journal_reader &reader, int64_t left_ms, int other_fd)
{
    constexpr int64_t unwatched_ms = 20;
    constexpr int64_t watched_ms = 1000;
    pollfd entries[] = { { reader.watch, POLLIN, 0 }, { other_fd, POLLIN, 0 } };
    const int64_t most = reader.watch < 0 ? unwatched_ms : watched_ms;
    if (poll(entries, std::size(entries), static_cast<int>(std::min(left_ms, most))) < 0)
        return errno != EINTR;
    char events[4096];
    ssize_t count = 1;
    while (reader.watch >= 0 && count > 0)
        count = read(reader.watch, events, sizeof(events));
    return entries[1].revents == 0;
}

void journal_reader_go_to(journal_reader &reader, int64_t bytes)
{
    open_file(reader);
    reader.held.clear();
    if (reader.fd >= 0)
        lseek(reader.fd, bytes, SEEK_SET);
}

json_ptr journal_reader_next(journal_reader &reader, int host_ms, int other_fd)
{
    const int64_t deadline = host_time_ms() + host_ms;
    for (;;) {
        if (json_ptr entry = take_entry(reader))
            return entry;
        if (read_more(reader))
            continue;
        const int64_t left = deadline - host_time_ms();
        if (left <= 0 || !wait_for_change(reader, left, other_fd))
            return nullptr;
    }
}
