// SPDX-License-Identifier: MIT
// fixed_files.h - the fixed files that the daemon reads, and the file system of the memory card. What a test
// does not put there is absent, whatever this machine has. Recorded as open(PATH) and statfs(PATH).
#pragma once

#include <sys/vfs.h>

#include <map>
#include <optional>
#include <string>

struct fixed_file_fakes {
    // Of "/etc/os-release", "/tmp/sdtotal", "/tmp/sdfree" and "/tmp/sdused".
    std::map<std::string, std::string> content;
    std::optional<struct statfs> card; // at "/mnt/sdcard"
};

extern fixed_file_fakes fixed_files;

void fixed_files_reset();

// For the fake of open.
bool fixed_file_is(const char *path);
int fixed_file_open(const char *path);

int open_descriptors(); // of this process
