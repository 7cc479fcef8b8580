// SPDX-License-Identifier: MIT
#include "round_trip.h"

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

constexpr int rounds = 3;

// Everything that is measured shares one core, so that a ratio says what a request costs.
static void stay_on_one_core()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
}

static int listen_on_port()
{
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int on = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0) {
        perror("round_trip: listen");
        exit(2);
    }
    return listener;
}

static pid_t start(void (*run)())
{
    pid_t pid = fork();
    if (pid == 0) {
        run();
        _exit(0);
    }
    return pid;
}

static void stop(pid_t pid)
{
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

static void run_store()
{
    execl("/camera/simulator/store", "store", "--database", "/state/nvram.db", "--defaults",
          "/camera/factory/defaults", static_cast<char *>(nullptr));
    perror("round_trip: /camera/simulator/store");
    _exit(2);
}

static void wait_for_store()
{
    while (access("/run/camera/store", F_OK) != 0)
        usleep(1000);
}

static figures best(const figures &a, const figures &b)
{
    return a.per_second > b.per_second ? a : b;
}

int main(int, char **argv)
{
    if (!sandbox_is_inside())
        sandbox_enter(argv);
    stay_on_one_core();
    int listener = listen_on_port();
    pid_t store = start(run_store);
    wait_for_store();

    figures results[3] = {};
    for (int round = 0; round < rounds; round++) {
        for (int i = 0; i < 3; i++) {
            pid_t pid = start(servers[i].run);
            results[i] = best(results[i], client_measure(listener, pid));
            stop(pid);
        }
    }
    stop(store);

    printf("get_prop with three names, one core, best of %d rounds\n", rounds);
    printf("%-16s %12s %14s %16s %14s\n", "", "requests/s", "cpu us each", "burst p99 ms", "within 1 ms");
    for (int i = 0; i < 3; i++)
        printf("%-16s %12.0f %14.2f %16.3f %13.1f%%\n", servers[i].name, results[i].per_second,
               results[i].cpu_us, results[i].burst_p99_ms, results[i].burst_within_1ms * 100);
    printf("json-c to ping-pong: rate %.2f\n", results[1].per_second / results[0].per_second);
    printf("daemon to json-c:    rate %.2f (wanted 0.9), processor time %.2f (wanted at most 1.2)\n",
           results[2].per_second / results[1].per_second, results[2].cpu_us / results[1].cpu_us);
    return 0;
}
