// SPDX-License-Identifier: MIT
#include "fakes/fixed_files.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <iterator>

fixed_file_fakes fixed_files;

static constexpr std::array<std::string_view, 4> faked = { "/etc/os-release", "/tmp/sdtotal", "/tmp/sdfree",
                                                           "/tmp/sdused" };

void fixed_files_reset()
{
    fixed_files = fixed_file_fakes();
}

int open_descriptors()
{
    std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
}

bool fixed_file_is(const char *path)
{
    return std::find(faked.begin(), faked.end(), path) != faked.end();
}

int fixed_file_open(const char *path)
{
    record_call("open(%s)", path);
    auto found = fixed_files.content.find(path);
    if (found == fixed_files.content.end() || call_is_to_fail()) {
        errno = ENOENT;
        return -1;
    }
    int fd = memfd_create("content", MFD_CLOEXEC);
    EXPECT_EQ(pwrite(fd, found->second.data(), found->second.size(), 0),
              static_cast<ssize_t>(found->second.size()));
    return fd;
}

extern "C" {

int statfs(const char *path, struct statfs *status) noexcept
{
    record_call("statfs(%s)", path);
    if (!fixed_files.card || call_is_to_fail()) {
        errno = ENOENT;
        return -1;
    }
    *status = *fixed_files.card;
    return 0;
}

} // extern "C"
