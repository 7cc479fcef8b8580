// SPDX-License-Identifier: MIT
#include "fakes/shared_memory.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <sys/mman.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <list>
#include <mutex>
#include <utility>

struct segment {
    int id;
    key_t key;
    size_t size;
    void *memory;
    int attached = 0;
    bool removed = false;
};

static std::mutex mutex;
static std::list<segment> segments;
static segment_trouble trouble = segment_trouble::none;
static int next_id = 0;
static std::function<void()> at_removal;

static segment *of_key(key_t key)
{
    auto found = std::find_if(segments.begin(), segments.end(),
                              [&](const segment &each) { return each.key == key && !each.removed; });
    return found == segments.end() ? nullptr : &*found;
}

static segment *of_id(int id)
{
    auto found =
        std::find_if(segments.begin(), segments.end(), [&](const segment &each) { return each.id == id; });
    return found == segments.end() ? nullptr : &*found;
}

static segment *of_memory(const void *memory)
{
    auto found = std::find_if(segments.begin(), segments.end(),
                              [&](const segment &each) { return each.memory == memory; });
    return found == segments.end() ? nullptr : &*found;
}

// Shared, so that a child of the test can be the other process.
static segment *make(key_t key, size_t size)
{
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return &segments.emplace_back(segment{ next_id++, key, size, memory });
}

static void drop_the_dead()
{
    segments.remove_if([](const segment &each) {
        bool dead = each.removed && each.attached == 0;
        if (dead)
            munmap(each.memory, each.size);
        return dead;
    });
}

void shared_memory_reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    trouble = segment_trouble::none;
    next_id = 0;
    at_removal = nullptr;
    for (segment &each : segments) {
        each.attached = 0;
        each.removed = true;
    }
    drop_the_dead();
}

void segment_has(segment_trouble what)
{
    std::lock_guard<std::mutex> lock(mutex);
    trouble = what;
}

void segment_removal_does(std::function<void()> something)
{
    std::lock_guard<std::mutex> lock(mutex);
    at_removal = std::move(something);
}

void segment_made_by_other(key_t key, size_t size)
{
    std::lock_guard<std::mutex> lock(mutex);
    make(key, size);
}

void segment_removed_by_other(key_t key)
{
    std::lock_guard<std::mutex> lock(mutex);
    of_key(key)->removed = true;
    drop_the_dead();
}

void *segment_memory(key_t key)
{
    std::lock_guard<std::mutex> lock(mutex);
    segment *found = of_key(key);
    return found == nullptr ? nullptr : found->memory;
}

int segments_alive()
{
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(segments.size());
}

int segments_attached()
{
    std::lock_guard<std::mutex> lock(mutex);
    int count = 0;
    for (const segment &each : segments)
        count += each.attached;
    return count;
}

static void removal_begins()
{
    std::unique_lock<std::mutex> lock(mutex);
    auto something = std::exchange(at_removal, nullptr);
    lock.unlock();
    if (something)
        something();
}

static int refused(int error)
{
    errno = error;
    return -1;
}

extern "C" {

int shmget(key_t key, size_t size, int flags) noexcept
{
    record_call("shmget(0x%x, %zu, 0%o)", static_cast<unsigned>(key), size, static_cast<unsigned>(flags));
    std::lock_guard<std::mutex> lock(mutex);
    if (trouble == segment_trouble::no_segment || call_is_to_fail())
        return refused(ENOSPC);
    segment *found = of_key(key);
    if (found == nullptr)
        return make(key, size)->id;
    return size <= found->size ? found->id : refused(EINVAL);
}

void *shmat(int id, const void *, int flags) noexcept
{
    record_call("shmat(%d, %d)", id, flags);
    std::lock_guard<std::mutex> lock(mutex);
    segment *found = of_id(id);
    if (trouble == segment_trouble::null_address)
        return nullptr;
    if (found == nullptr || trouble == segment_trouble::no_address || call_is_to_fail())
        return reinterpret_cast<void *>(static_cast<intptr_t>(refused(ENOMEM)));
    found->attached++;
    return found->memory;
}

int shmdt(const void *memory) noexcept
{
    record_call("shmdt()");
    std::lock_guard<std::mutex> lock(mutex);
    segment *found = of_memory(memory);
    if (found == nullptr || trouble == segment_trouble::no_detaching || call_is_to_fail())
        return refused(EINVAL);
    found->attached--;
    drop_the_dead();
    return 0;
}

int shmctl(int id, int command, struct shmid_ds *) noexcept
{
    record_call("shmctl(%d, %s)", id, command == IPC_RMID ? "IPC_RMID" : "?");
    removal_begins();
    std::lock_guard<std::mutex> lock(mutex);
    segment *found = of_id(id);
    if (found == nullptr || found->removed || trouble == segment_trouble::no_removal || call_is_to_fail())
        return refused(EINVAL);
    found->removed = true;
    drop_the_dead();
    return 0;
}

} // extern "C"
