// SPDX-License-Identifier: MIT
// store_process.h - the store service as a program of its own in the run folder of a story. It dies with the
// story.
#pragma once

#include "harness.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>

struct store_process {
    pid_t pid = -1;
};

// What the factory put into the nvram of these stories.
inline void store_write_defaults(const std::string &text = "power = on\nmotor = [50,50]\nlanguage = en\n")
{
    std::ofstream(desk_path("defaults")) << text;
}

inline bool store_listens()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, desk_path("store").c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

// Starts the program and does not wait for anything.
inline store_process store_launch()
{
    const std::string database = desk_path("nvram");
    const std::string defaults = desk_path("defaults");
    const pid_t pid = fork();
    if (pid != 0)
        return { pid };
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("CAMERA_WHO", "store", 1);
    execl(CAMERA_PROGRAMS "/store", "store", "--database", database.c_str(), "--defaults", defaults.c_str(),
          nullptr);
    _exit(127);
}

// What waitpid tells of its end.
inline int store_wait_for_end(store_process &store)
{
    int status = -1;
    waitpid(store.pid, &status, 0);
    store.pid = -1;
    return status;
}

inline int store_end(store_process &store, int signal_number)
{
    kill(store.pid, signal_number);
    return store_wait_for_end(store);
}

// Starts the program and waits until it takes clients.
inline store_process store_start()
{
    if (desk_file(desk_path("defaults")).empty())
        store_write_defaults();
    const store_process store = store_launch();
    EXPECT_TRUE(desk_wait(store_listens)) << "the store did not start";
    return store;
}

// Makes the service stand still, or go on, as if the machine were busy elsewhere.
inline void store_hold(const store_process &store)
{
    kill(store.pid, SIGSTOP);
    int status = 0;
    waitpid(store.pid, &status, WUNTRACED);
}

inline void store_release(const store_process &store)
{
    kill(store.pid, SIGCONT);
}
