// SPDX-License-Identifier: MIT
// rotation_block.h - the System V segment through which other processes of the camera turn the head. Whoever
// uses it must agree on it byte for byte.
//
// A writer locks mutex, writes cmd, then sets pending to 1, and unlocks. It may vanish at any moment, so what
// stands here is never trusted: cmd may lack its NUL, and mutex may stay locked.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

constexpr key_t rotation_key = 0x1122;
constexpr size_t rotation_cmd_size = 32;

struct rotation_block {
    int32_t pending;
    pthread_mutex_t mutex; // process-shared
    char cmd[rotation_cmd_size];
};

constexpr bool rotation_block_is(size_t size, size_t mutex, size_t cmd)
{
    return sizeof(rotation_block) == size && offsetof(rotation_block, mutex) == mutex &&
           offsetof(rotation_block, cmd) == cmd;
}

// The layouts of 32-bit systems and of amd64, told by their mutex.
static_assert(sizeof(pthread_mutex_t) != 24 || rotation_block_is(60, 4, 28));
static_assert(sizeof(pthread_mutex_t) != 40 || rotation_block_is(80, 8, 48));
