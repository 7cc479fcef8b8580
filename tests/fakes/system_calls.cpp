// SPDX-License-Identifier: MIT
#include "fakes/system_calls.h"
#include "fakes/failing.h"
#include "fakes/files.h"

#include <dlfcn.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

system_fakes libc;

// Shared memory: under ThreadSanitizer a vfork is a fork.
struct exec_board {
    std::atomic<int> count;
    char lines[16][256];
    sigset_t mask; // of the newest
};

static exec_board &board()
{
    static void *const memory =
        mmap(nullptr, sizeof(exec_board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *static_cast<exec_board *>(memory);
}

static std::mutex watched_mutex;
static std::set<int> watched_fds;

template <typename function> static function *real(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

void system_reset()
{
    std::lock_guard<std::mutex> lock(watched_mutex);
    libc = system_fakes();
    board().count = 0;
    watched_fds.clear();
}

void watch_close(int fd)
{
    std::lock_guard<std::mutex> lock(watched_mutex);
    watched_fds.insert(fd);
}

static bool is_watched(int fd)
{
    std::lock_guard<std::mutex> lock(watched_mutex);
    return watched_fds.contains(fd);
}

// Where a long is shorter than the time, libc has a second function for the longer time, and the header leads
// to it.
static const char *const ppoll_name = sizeof(long) < sizeof(time_t) ? "__ppoll64" : "ppoll";

int real_ppoll(pollfd *entries, nfds_t count, const timespec *timeout, const sigset_t *mask)
{
    static auto *const wait = real<int(pollfd *, nfds_t, const timespec *, const sigset_t *)>(ppoll_name);
    return wait(entries, count, timeout, mask);
}

int real_system(const char *command)
{
    static auto *const run = real<int(const char *)>("system");
    return run(command);
}

texts executed()
{
    texts lines;
    for (int i = 0; i < board().count; i++)
        lines.emplace_back(board().lines[i]);
    return lines;
}

sigset_t executed_mask()
{
    return board().mask;
}

// In a child that shares or copies memory: touches nothing but the board.
static int note_exec(const char *path, char *const arguments[])
{
    sigprocmask(SIG_BLOCK, nullptr, &board().mask);
    errno = ENOENT;
    if (board().count == std::ssize(board().lines))
        return -1;
    char *line = board().lines[board().count];
    size_t room = sizeof(board().lines[0]);
    int used = snprintf(line, room, "exec(%s", path);
    for (; *arguments != nullptr; arguments++)
        used += snprintf(line + used, room - static_cast<size_t>(used), ", %s", *arguments);
    snprintf(line + used, room - static_cast<size_t>(used), ", null)");
    board().count++;
    return -1;
}

extern "C" {

int close(int fd)
{
    static auto *const real_close = real<int(int)>("close");
    if (is_watched(fd))
        record_call("close(%d)", fd);
    if (prompt_closes(fd))
        record_call("close(prompt)");
    return real_close(fd);
}

int settimeofday(const timeval *value, const struct timezone *zone) noexcept
{
    record_call("settimeofday(%lld.%06ld, %s)", static_cast<long long>(value->tv_sec),
                static_cast<long>(value->tv_usec), zone == nullptr ? "null" : "zone");
    if (call_is_to_fail()) {
        errno = EPERM;
        return -1;
    }
    errno = libc.settimeofday_errno;
    return libc.settimeofday_result;
}

int kill(pid_t pid, int signal) noexcept
{
    record_call("kill(%d, %d)", pid, signal);
    return 0;
}

void sync() noexcept
{
    record_call("sync()");
}

// Like the real one: SIGINT is ignored while the command runs, and one that is pending is forgotten by that.
int system(const char *command)
{
    record_call("system(%s)", quoted(command).c_str());
    if (libc.on_system)
        return libc.on_system(command);
    struct sigaction ignored = {};
    struct sigaction before = {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignored, &before);
    sigaction(SIGINT, &before, nullptr);
    return call_is_to_fail() ? -1 : libc.system_result;
}

int usleep(useconds_t microseconds)
{
    if (libc.on_usleep)
        libc.on_usleep(microseconds);
    else
        record_call("usleep(%u)", microseconds);
    return 0;
}

unsigned sleep(unsigned seconds)
{
    record_call("sleep(%u)", seconds);
    if (libc.on_sleep)
        libc.on_sleep(seconds);
    return 0;
}

int execv(const char *path, char *const arguments[]) noexcept
{
    return note_exec(path, arguments);
}

void perror(const char *text)
{
    record_call("perror(%s)", text);
    if (libc.on_perror)
        libc.on_perror();
}

// Here libc's declaration says that the argument is never null, so only its copy may be asked.
int execl(const char *path, const char *argument, ...) noexcept
{
    const char *volatile first = argument;
    char *arguments[8] = { const_cast<char *>(first) };
    va_list rest;
    va_start(rest, argument);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it has been started
    for (int i = 1; arguments[i - 1] != nullptr && i < 7; i++)
        arguments[i] = va_arg(rest, char *);
    va_end(rest);
    return note_exec(path, arguments);
}

FILE *popen(const char *command, const char *mode)
{
    static auto *const real_popen = real<FILE *(const char *, const char *)>("popen");
    record_call("popen(%s, %c)", quoted(command).c_str(), mode[0]);
    if (libc.popen_is_real)
        return real_popen(command, mode);
    if (libc.popen_fails || call_is_to_fail())
        return nullptr;
    FILE *output = tmpfile();
    fputs(libc.popen_output.c_str(), output);
    rewind(output);
    return output;
}

int pclose(FILE *stream)
{
    static auto *const real_pclose = real<int(FILE *)>("pclose");
    record_call("pclose()");
    return libc.popen_is_real ? real_pclose(stream) : fclose(stream);
}

int timerfd_create(int clock, int flags) noexcept
{
    static auto *const real_create = real<int(int, int)>("timerfd_create");
    record_call("timerfd_create(%d, %d)", clock, flags);
    if (!libc.timerfd_fails && !call_is_to_fail())
        return real_create(clock, flags);
    errno = EMFILE;
    return -1;
}

int socket(int domain, int type, int protocol) noexcept
{
    static auto *const real_socket = real<int(int, int, int)>("socket");
    if (!libc.socket_fails && !call_is_to_fail())
        return real_socket(domain, type, protocol);
    errno = EMFILE;
    return -1;
}

// Leads to the test's own listener, so that no fixed port is needed.
int connect(int fd, const sockaddr *address, socklen_t length)
{
    static auto *const real_connect = real<int(int, const sockaddr *, socklen_t)>("connect");
    sockaddr_in target = {};
    memcpy(&target, address, std::min(static_cast<size_t>(length), sizeof(target)));
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &target.sin_addr, text, sizeof(text));
    record_call("connect(%s:%d)", text, ntohs(target.sin_port));
    if (libc.connect_port == 0 || call_is_to_fail()) {
        errno = ECONNREFUSED;
        return -1;
    }
    target.sin_port = htons(static_cast<uint16_t>(libc.connect_port));
    return real_connect(fd, reinterpret_cast<sockaddr *>(&target), sizeof(target));
}

int ppoll(pollfd *entries, nfds_t count, const timespec *timeout, const sigset_t *mask)
{
    return libc.on_poll ? libc.on_poll(entries, count, timeout, mask)
                        : real_ppoll(entries, count, timeout, mask);
}

} // extern "C"
