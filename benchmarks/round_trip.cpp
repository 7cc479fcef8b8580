// SPDX-License-Identifier: MIT
#include "round_trip.h"

#include <cstdio>

constexpr int rounds = 3;

static figures best(const figures &a, const figures &b)
{
    return a.per_second > b.per_second ? a : b;
}

int main()
{
    desk_enter();
    desk_stay_on_one_core();
    int listener = desk_listen();
    pid_t store = desk_start_store();

    figures results[3] = {};
    for (int round = 0; round < rounds; round++) {
        for (int i = 0; i < 3; i++) {
            pid_t pid = desk_start(servers[i].run);
            results[i] = best(results[i], client_measure(listener, pid));
            desk_stop(pid);
        }
    }
    desk_stop(store);

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
