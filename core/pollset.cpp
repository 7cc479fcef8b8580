// SPDX-License-Identifier: MIT
#include "core/pollset.h"

#include "libkivo_util.h"

#include <cstdlib>

void pollset_write(int fd)
{
    if (kit.nfds >= kit_pollfds_size)
        return;
    kit.pollfds[kit.nfds].fd = fd;
    kit.pollfds[kit.nfds].events = POLLIN;
}

void pollset_count(void)
{
    kit.nfds++;
}

void pollset_add(int fd)
{
    pollset_write(fd);
    pollset_count();
}

bool pollset_remove(int fd)
{
    int found = 0;
    while (found < kit.nfds && kit.pollfds[found].fd != fd)
        found++;
    if (found >= kit.nfds)
        return false;
    for (int i = found + 1; i <= kit.nfds && i < kit_pollfds_size; i++)
        kit.pollfds[i - 1] = kit.pollfds[i];
    kit.nfds--;
    return true;
}

void pollset_check_limit(const char *file, int line)
{
    if (kit.nfds < kit_pollfds_size)
        return;
    log_err("%s, %d: too many sockets to track\n", file, line);
    for (int i = 0; i < kit.nfds && i < kit_pollfds_size; i++)
        log_info("pollfds[%d]: %d\n", i, kit.pollfds[i].fd);
    exit(-1);
}
