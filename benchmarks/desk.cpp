// SPDX-License-Identifier: MIT
#include "desk.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

static const char inside[] = "BENCHMARK_INSIDE";

[[noreturn]] static void give_up(const char *what)
{
    perror(what);
    exit(2);
}

static std::string this_program()
{
    char path[4096];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return { path, length > 0 ? static_cast<size_t>(length) : 0 };
}

// The daemon sets the clock and signals process 1, so it is measured inside a sandbox like everywhere else.
void desk_enter()
{
    if (getenv(inside) != nullptr)
        return;
    std::string program = this_program();
    std::string folder = program.substr(0, program.rfind('/'));
    std::string build = folder.substr(0, folder.rfind('/'));
    std::string within = "/camera" + program.substr(build.size());
    execlp("bwrap", "bwrap", "--unshare-user", "--unshare-pid", "--unshare-net", "--unshare-ipc",
           "--unshare-uts", "--cap-drop", "ALL", "--die-with-parent", "--ro-bind", "/usr", "/usr",
           "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64", "--symlink", "usr/bin", "/bin",
           "--proc", "/proc", "--dev", "/dev", "--tmpfs", "/tmp", "--tmpfs", "/run", "--dir", "/run/camera",
           "--dir", "/state", "--ro-bind", build.c_str(), "/camera", "--setenv", inside, "1", "--setenv",
           "CAMERA_LOG_LEVEL", "2", within.c_str(), static_cast<char *>(nullptr));
    fprintf(stderr, "A benchmark needs bubblewrap: install the package bubblewrap.\n");
    exit(2);
}

void desk_stay_on_one_core()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
}

int desk_listen()
{
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int on = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0)
        give_up("listen");
    return listener;
}

int desk_accept(int listener)
{
    int sock = accept(listener, nullptr, nullptr);
    int on = 1;
    setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return sock;
}

pid_t desk_start(void (*run)())
{
    pid_t pid = fork();
    if (pid == 0) {
        run();
        _exit(0);
    }
    return pid;
}

void desk_stop(pid_t pid)
{
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

static void run_store()
{
    execl("/camera/simulator/store", "store", "--database", "/state/nvram.db", "--defaults",
          "/camera/factory/defaults", static_cast<char *>(nullptr));
    perror("/camera/simulator/store");
    _exit(2);
}

pid_t desk_start_store()
{
    pid_t pid = desk_start(run_store);
    while (access("/run/camera/store", F_OK) != 0) {
        if (waitpid(pid, nullptr, WNOHANG) == pid)
            exit(2);
        usleep(1000);
    }
    return pid;
}

void desk_run_daemon()
{
    setenv("LD_LIBRARY_PATH", "/camera/lib", 1);
    execl("/camera/kivo_camwarden", "kivo_camwarden", static_cast<char *>(nullptr));
    perror("/camera/kivo_camwarden");
    _exit(2);
}

double desk_seconds(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

clockid_t desk_clock_of(pid_t pid)
{
    clockid_t clock = {};
    if (clock_getcpuclockid(pid, &clock) != 0)
        give_up("clock_getcpuclockid");
    return clock;
}

void desk_send(int sock, const char *text, size_t length)
{
    if (send(sock, text, length, 0) != static_cast<ssize_t>(length))
        give_up("send");
}
