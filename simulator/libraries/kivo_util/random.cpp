// SPDX-License-Identifier: MIT
// One sequence of numbers for all threads: a counter and a mixing function, so that no lock is needed.
// $CAMERA_SEED makes it the same every time; stage gives each program of a camera, and each of its lives, one
// of its own.
#include "contract.h"

#include <sys/random.h>

#include <atomic>
#include <climits>
#include <cstdlib>

static uint64_t mix(uint64_t z)
{
    z = (z ^ (z >> 30)) * UINT64_C(0xbf58476d1ce4e5b9);
    z = (z ^ (z >> 27)) * UINT64_C(0x94d049bb133111eb);
    return z ^ (z >> 31);
}

static uint64_t seed(void)
{
    uint64_t value = 0;
    const char *text = getenv("CAMERA_SEED");
    if (text != nullptr && *text != '\0') {
        for (; *text != '\0'; text++)
            value = mix(value * 257 + static_cast<unsigned char>(*text));
        return value;
    }
    // Fails only where the system has no random numbers at all; then the sequence is a fixed one.
    if (getrandom(&value, sizeof value, 0) != static_cast<ssize_t>(sizeof value))
        value = 0;
    return value;
}

static uint64_t next(void)
{
    static std::atomic<uint64_t> state = seed();
    const uint64_t step = UINT64_C(0x9e3779b97f4a7c15);
    return mix(state.fetch_add(step, std::memory_order_relaxed) + step);
}

// 0 <= result < count, each as likely as the other: what lies beyond the last whole multiple of count is
// drawn again.
static uint64_t below(uint64_t count)
{
    const uint64_t whole = UINT64_MAX - UINT64_MAX % count;
    uint64_t number = next();
    while (number >= whole)
        number = next();
    return number % count;
}

int rand_range(int low, int high)
{
    if (low >= high)
        return low;
    const uint64_t count = static_cast<uint64_t>(int64_t{ high } - low) + 1;
    return static_cast<int>(low + static_cast<int64_t>(below(count)));
}

// Counts on from a random place; times an odd number this visits all of 31 bits before any comes again.
int generate_random_id(void)
{
    constexpr uint32_t shuffle = 0x9e3779b1;
    static std::atomic<uint32_t> count = static_cast<uint32_t>(next());
    uint32_t id = 0;
    while (id == 0)
        id = count.fetch_add(1, std::memory_order_relaxed) * shuffle & INT_MAX;
    return static_cast<int>(id);
}
