// SPDX-License-Identifier: MIT
#include "common/page.h"

#include "common/host_time.h"
#include "common/run_folder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>

static constexpr uint32_t page_magic = 0x50414745;
static constexpr uint32_t page_version = 3;

// NULL: not yet settled. A process without a page points at no_page. No lock: a fork may come at any moment.
static run_page no_page;
static std::atomic<run_page *> settled_page = nullptr;

static run_page *map_page(int fd)
{
    void *memory = mmap(nullptr, sizeof(run_page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<run_page *>(memory);
}

static int init_journal_lock(pthread_mutex_t *lock)
{
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error != 0)
        return error;
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    error = pthread_mutex_init(lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error;
}

static void init_journal_end(run_page *page)
{
    int fd = open(run_folder_path("journal").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    char last = '\n';
    page->journal_end = lseek(fd, 0, SEEK_END);
    page->journal_cut = pread(fd, &last, 1, page->journal_end - 1) == 1 && last != '\n';
    close(fd);
}

static int init_page(run_page *page)
{
    new (page) run_page{};
    for (clock_slot &slot : page->slots) {
        slot.base_host_ns = host_time_ns(CLOCK_MONOTONIC);
        slot.limit_ns = INT64_MAX;
        slot.numerator = 1;
        slot.denominator = 1;
    }
    page->world_offset_ns = host_time_ns(CLOCK_REALTIME);
    page->realtime_offset_ns = page->world_offset_ns;

    init_journal_end(page);
    page->magic = page_magic;
    page->version = page_version;
    return init_journal_lock(&page->journal_lock);
}

// The file gets its name when it is ready, so nobody ever maps half a page.
static run_page *make_page(int fd, const std::string &made, const std::string &name)
{
    if (ftruncate(fd, sizeof(run_page)) != 0)
        return nullptr;
    run_page *page = map_page(fd);
    if (page == nullptr)
        return nullptr;
    int error = init_page(page);
    if (error == 0 && rename(made.c_str(), name.c_str()) == 0)
        return page;
    if (error == 0)
        error = errno;
    munmap(page, sizeof(run_page));
    errno = error;
    return nullptr;
}

run_page *page_create(void)
{
    const std::string name = run_folder_path("page");
    const std::string made = name + ".new";
    int fd = open(made.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return nullptr;
    run_page *page = make_page(fd, made, name);
    int error = errno;
    close(fd);
    if (page == nullptr) {
        unlink(made.c_str());
        errno = error;
        return nullptr;
    }
    settled_page.store(page, std::memory_order_release);
    return page;
}

static run_page *find_page(void)
{
    const std::string name = run_folder_path("page");
    int fd = open(name.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return &no_page;
    struct stat status = {};
    run_page *page = nullptr;
    if (fstat(fd, &status) == 0 && status.st_size == static_cast<off_t>(sizeof(run_page)))
        page = map_page(fd);
    close(fd);
    if (page != nullptr && page->magic == page_magic && page->version == page_version)
        return page;
    if (page != nullptr)
        munmap(page, sizeof(run_page));
    fprintf(stderr, "%s: %s was made by another build and is not used; stop the camera and run it again.\n",
            program_invocation_short_name, name.c_str());
    return &no_page;
}

run_page *page_open(void)
{
    run_page *page = settled_page.load(std::memory_order_acquire);
    if (page == nullptr) {
        int error = errno;
        run_page *found = find_page();
        errno = error;
        if (settled_page.compare_exchange_strong(page, found, std::memory_order_acq_rel))
            page = found;
        else if (found != &no_page)
            munmap(found, sizeof(run_page)); // another thread was first
    }
    return page == &no_page ? nullptr : page;
}

bool page_lock_journal(run_page *page)
{
    int error = pthread_mutex_lock(&page->journal_lock);
    if (error == EOWNERDEAD)
        error = pthread_mutex_consistent(&page->journal_lock);
    return error == 0;
}

void page_unlock_journal(run_page *page)
{
    pthread_mutex_unlock(&page->journal_lock);
}
