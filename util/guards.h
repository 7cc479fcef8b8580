// SPDX-License-Identifier: MIT
// guards.h - owners that give back what they hold. Borrowed things are plain pointers and descriptors.
#pragma once

#include <json-c/json.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

struct json_put {
    void operator()(json_object *object) const
    {
        json_object_put(object);
    }
};
using json_ptr = std::unique_ptr<json_object, json_put>; // owns exactly one reference

struct heap_free {
    void operator()(void *memory) const
    {
        free(memory);
    }
};
using text_ptr = std::unique_ptr<char, heap_free>; // malloc'ed text

// Closes a descriptor; one below 0 is none.
struct fd_guard {
    explicit fd_guard(int owned) : fd(owned) {}
    ~fd_guard()
    {
        if (fd >= 0)
            close(fd);
    }
    fd_guard(const fd_guard &) = delete;
    fd_guard &operator=(const fd_guard &) = delete;

    int fd;
};

// Holds a mutex while it lives.
struct lock_guard {
    explicit lock_guard(pthread_mutex_t &held) : mutex(held)
    {
        pthread_mutex_lock(&mutex);
    }
    ~lock_guard()
    {
        pthread_mutex_unlock(&mutex);
    }
    lock_guard(const lock_guard &) = delete;
    lock_guard &operator=(const lock_guard &) = delete;

    pthread_mutex_t &mutex;
};

// Adds value under key. True: parent owns it now; false: it is released here.
inline bool json_add(json_object *parent, const char *key, json_ptr value)
{
    if (!value || json_object_object_add(parent, key, value.get()) != 0)
        return false;
    static_cast<void>(value.release());
    return true;
}
