// SPDX-License-Identifier: MIT
// journal_reader.h - reads the journal of a run folder while it is written.
#pragma once

#include "common/json.h"

#include <string>

struct journal_reader {
    int fd = -1;
    int watch = -1; // inotify: tells when the folder's files change
    std::string path;
    std::string held; // read, not yet given out
};

// The journal need not be there yet. from_end: only what is written from now on.
void journal_reader_open(journal_reader &reader, const std::string &run_folder, bool from_end);
void journal_reader_close(journal_reader &reader);

// The next line; NULL: none came within host_ms (0: does not wait), or a signal came, or there is something
// to read on other_fd (-1: none). A line that was cut short is left out.
json_ptr journal_reader_next(journal_reader &reader, int host_ms, int other_fd = -1);

// Goes on, or back, to that many bytes from the journal's beginning, where a line begins.
void journal_reader_go_to(journal_reader &reader, int64_t bytes);
