// SPDX-License-Identifier: MIT
#include "common/journal.h"

#include "common/clock.h"
#include "common/page.h"
#include "common/run_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <string>

static constexpr int json_flags = JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE;

// Opened at the first line; no lock, since a fork may come at any moment.
static std::atomic<int> journal_fd = -1;

static int open_journal(void)
{
    int fd = journal_fd.load(std::memory_order_acquire);
    if (fd >= 0)
        return fd;
    fd = open(run_folder_path("journal").c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    int first = -1;
    if (fd < 0 || journal_fd.compare_exchange_strong(first, fd, std::memory_order_acq_rel))
        return fd;
    close(fd); // another thread was first
    return first;
}

// All of the line after "ms"; rendered before the lock is taken.
static std::string render(const char *who, const char *what, json_object *fields)
{
    json_object *names = json_object_new_object();
    json_object_object_add(names, "who", json_object_new_string(who));
    json_object_object_add(names, "what", json_object_new_string(what));
    std::string text = json_object_to_json_string_ext(names, json_flags);
    json_object_put(names);
    text[0] = ',';
    if (fields != nullptr && json_object_object_length(fields) > 0) {
        text.back() = ',';
        text += json_object_to_json_string_ext(fields, json_flags) + 1;
    }
    return text + "\n";
}

// The file has grown by a line that nobody counted: its writer died, or the disk was full. Counts it if it is
// whole.
static void settle_last_line(run_page *page, int fd, int64_t size)
{
    char text[32] = {};
    char last = '\n';
    uint64_t n = 0;
    const bool grown = size > page->journal_end;
    if (grown && pread(fd, text, sizeof text - 1, page->journal_end) > 0 &&
        sscanf(text, " {\"n\":%" SCNu64, &n) !=
            1) // NOLINT(cert-err34-c): an n out of range was never written
        n = 0;
    page->journal_cut = grown && pread(fd, &last, 1, size - 1) == 1 && last != '\n';
    page->journal_end = size;
    if (!page->journal_cut && n > page->journal_count)
        page->journal_count = n;
}

static bool write_whole(int fd, const std::string &line)
{
    size_t done = 0;
    while (done < line.size()) {
        const ssize_t written = write(fd, line.data() + done, line.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            done += static_cast<size_t>(written);
    }
    return true;
}

static bool append_locked(run_page *page, int fd, const std::string &rest)
{
    struct stat file = {};
    if (fstat(fd, &file) != 0)
        return false;
    if (file.st_size != page->journal_end)
        settle_last_line(page, fd, file.st_size);
    const uint64_t n = page->journal_count + 1;
    std::string line = page->journal_cut ? "\n{\"n\":" : "{\"n\":";
    line += std::to_string(n) + ",\"ms\":" + std::to_string(clock_monotonic_ns() / 1000000) + rest;
    if (!write_whole(fd, line))
        return false;
    page->journal_count = n;
    page->journal_end = file.st_size + static_cast<int64_t>(line.size());
    page->journal_cut = false;
    return true;
}

// No signal handler runs while the lock is held: one that writes a line would wait for itself, and all the
// camera with it.
static bool append(run_page *page, int fd, const std::string &rest)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool written = false;
    if (page_lock_journal(page)) {
        written = append_locked(page, fd, rest);
        page_unlock_journal(page);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return written;
}

bool journal_write(const char *who, const char *what, json_object *fields)
{
    const int error = errno;
    run_page *page = page_open();
    const int fd = page == nullptr ? -1 : open_journal();
    const bool written = fd >= 0 && append(page, fd, render(who, what, fields));
    json_object_put(fields);
    errno = error;
    return written;
}
