// SPDX-License-Identifier: MIT
#include "fuzz/desk.h"

#include "core/dispatcher.h"
#include "core/events.h"
#include "core/notify.h"
#include "core/otd_link.h"
#include "store/selvar_nvram.h"

#include "fakes/kit_desk.h"
#include "fakes/leftovers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

static int free_fd()
{
    int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    close(fd);
    return fd;
}

static void insist(bool held, const char *what)
{
    if (held)
        return;
    fprintf(stderr, "The input has broken a promise: %s.\n", what);
    abort();
}

template <size_t size> static bool ends(const char (&text)[size])
{
    return strnlen(text, size) < size;
}

// A worker of the daemon would make an input's outcome a matter of luck, so none can be started.
fuzz_desk::fuzz_desk()
{
    fakes_reset();
    thread_creation_gives(EAGAIN);
    kit_restored(kit_at_start);
    feedback_time = 0;
    motor_seq = 0;
    lowest_free_fd = free_fd();
    kit.otd_sock = open("/dev/null", O_RDWR | O_CLOEXEC);
    kit.mc_fd = selvar_nvram_init(selvar_notify_handler);
}

fuzz_desk::~fuzz_desk()
{
    otd_close();
    selvar_nvram_exit();
    sound_exit();
    insist(free_fd() == lowest_free_fd, "a descriptor is still open");
    for (const std::string &left : leftovers())
        insist(false, (left + " is left behind").c_str());
    insist(ends(g_did) && ends(language) && ends(motion_alarm_cfg) && ends(motion_region_cfg),
           "a text has no end");
}
