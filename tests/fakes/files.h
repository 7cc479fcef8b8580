// SPDX-License-Identifier: MIT
// files.h - the folder of the prompts, /mnt/data/sound/, for a test: open and opendir below it lead to a
// folder of the test's own, and what is done with its files is recorded: open, mmap, munmap
// and close(prompt). Without a folder there is nothing. Other files are left alone.
#pragma once

#include <string>

struct prompt_file_fakes {
    std::string folder; // of the test, without a slash at the end
    int open_errno = 0; // not 0: the call fails with it, for a prompt's file
    int fstat_errno = 0;
    int mmap_errno = 0;
};

extern prompt_file_fakes prompt_files;

void prompt_files_reset();

bool prompt_closes(int fd); // for the fake of close: whether it was a prompt's file, which it is no more

int prompt_mappings(); // prompts' files that are mapped at this moment

// A folder that the prompts lead to as long as it lives.
struct prompt_folder {
    prompt_folder();
    ~prompt_folder();
    prompt_folder(const prompt_folder &) = delete;
    prompt_folder &operator=(const prompt_folder &) = delete;

    // path is below the folder: "booting", "en/booting"; what lies between is made.
    void has(const std::string &path, const std::string &bytes) const;
    void has_folder(const std::string &path) const;

    std::string path;
};
