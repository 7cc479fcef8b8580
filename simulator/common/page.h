// SPDX-License-Identifier: MIT
// page.h - the memory that all programs of one camera share: the file "page" of the run folder. Any thread.
//
// stage makes it before it starts anybody. Everybody else maps it at the first use; whether a process has a
// page is settled then, once and for all, so that its time never jumps from one clock to the other.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

// A state of the clock, see clock.h. Virtual time is
//   min(limit_ns, base_virtual_ns + (host - base_host_ns) * numerator / denominator)
struct clock_slot {
    std::atomic<int64_t> base_host_ns; // CLOCK_MONOTONIC of the host
    std::atomic<int64_t> base_virtual_ns;
    std::atomic<int64_t> limit_ns;
    std::atomic<uint32_t> numerator; // 0: stands still
    std::atomic<uint32_t> denominator;
};

struct run_page {
    uint32_t magic;
    uint32_t version;

    // Counts the changes of the clock; slots[clock_changes % 2] holds, the other is free for the next one. A
    // reader takes the slot again when the count has moved meanwhile, so a writer that dies never blocks it.
    // Also the futex word of those who sleep.
    std::atomic<uint32_t> clock_changes;
    clock_slot slots[2];
    std::atomic<int64_t> newest_ns;          // the latest moment that anybody was told
    std::atomic<int64_t> realtime_offset_ns; // wall clock minus monotonic
    int64_t world_offset_ns;                 // as it was at first
    std::atomic<int64_t> reader_wakes_ns; // until when the daemon's main thread sleeps by the clock; 0: awake

    pthread_mutex_t journal_lock; // process-shared, robust
    uint64_t journal_count;
    int64_t journal_end; // size of the journal when it was last looked at
    bool journal_cut;    // it does not end with a line end: a line was cut short
};

static_assert(std::atomic<int64_t>::is_always_lock_free && std::atomic<uint32_t>::is_always_lock_free);

// stage's: replaces the page of the run folder by a new one and maps it. The clock stands at 0 and runs at
// speed 1 without a limit, the wall clock is the host's; the journal goes on after what its file holds,
// counting from 1. NULL and errno on failure.
run_page *page_create(void);

// The process's page, NULL when there is none.
run_page *page_open(void);

// Locks and unlocks the journal. False: the lock cannot be had, nothing is locked.
bool page_lock_journal(run_page *page);
void page_unlock_journal(run_page *page);
