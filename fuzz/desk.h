// SPDX-License-Identifier: MIT
// desk.h - the daemon for one input of a fuzzer: it has just started, its links are up, nothing real happens.
#pragma once

struct fuzz_desk {
    fuzz_desk();

    // Stops the fuzzer when the input has left something behind: a descriptor, a pair of the store, a
    // mapping, a text without its end.
    ~fuzz_desk();

    fuzz_desk(const fuzz_desk &) = delete;
    fuzz_desk &operator=(const fuzz_desk &) = delete;

    int lowest_free_fd; // before anything was opened
};
