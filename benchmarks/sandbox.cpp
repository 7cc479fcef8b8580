// SPDX-License-Identifier: MIT
// The daemon sets the clock and signals process 1, so it is measured inside a sandbox like everywhere else.
#include "round_trip.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

static std::string build_folder()
{
    char path[4096];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    std::string program(path, length > 0 ? static_cast<size_t>(length) : 0);
    std::string folder = program.substr(0, program.rfind('/'));
    return folder.substr(0, folder.rfind('/'));
}

bool sandbox_is_inside()
{
    return getenv("ROUND_TRIP_INSIDE") != nullptr;
}

void sandbox_enter(char **)
{
    std::string build = build_folder();
    execlp("bwrap", "bwrap", "--unshare-user", "--unshare-pid", "--unshare-net", "--unshare-ipc",
           "--unshare-uts", "--cap-drop", "ALL", "--die-with-parent", "--ro-bind", "/usr", "/usr",
           "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64", "--symlink", "usr/bin", "/bin",
           "--proc", "/proc", "--dev", "/dev", "--tmpfs", "/tmp", "--tmpfs", "/run", "--dir", "/run/camera",
           "--dir", "/state", "--ro-bind", build.c_str(), "/camera", "--setenv", "ROUND_TRIP_INSIDE", "1",
           "--setenv", "CAMERA_LOG_LEVEL", "3", "/camera/benchmarks/round_trip",
           static_cast<char *>(nullptr));
    fprintf(stderr, "round_trip needs bubblewrap: install the package bubblewrap.\n");
    exit(2);
}
