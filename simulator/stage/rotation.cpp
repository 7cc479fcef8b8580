// SPDX-License-Identifier: MIT
#include "stage/rotation.h"

#include <pthread.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

// Agreed with every process that uses it, to the byte.
struct rotation_block {
    int32_t pending; // 1: a command waits
    pthread_mutex_t mutex;
    char cmd[rotation_longest + 1];
};

static bool lock(rotation_block *block, rotation_state &state)
{
    const int error = pthread_mutex_trylock(&block->mutex);
    if (error == EOWNERDEAD)
        pthread_mutex_consistent(&block->mutex);
    if (error == 0 || error == EOWNERDEAD)
        return true;
    state = error == EBUSY ? rotation_state::locked : rotation_state::unusable;
    return false;
}

// text NULL: only looks.
static rotation_state use(rotation_block *block, const std::string *text)
{
    rotation_state state = rotation_state::unusable;
    if (!lock(block, state))
        return state;
    state = block->pending == 1 ? rotation_state::waiting : rotation_state::free;
    if (state == rotation_state::free && text != nullptr) {
        strncpy(block->cmd, text->c_str(), rotation_longest);
        block->cmd[rotation_longest] = '\0';
        block->pending = 1;
    }
    pthread_mutex_unlock(&block->mutex);
    return state;
}

static rotation_state visit(key_t key, const std::string *text)
{
    const int segment = shmget(key, sizeof(rotation_block), 0);
    if (segment < 0)
        return errno == ENOENT ? rotation_state::absent : rotation_state::unusable;
    void *memory = shmat(segment, nullptr, 0);
    if (memory == reinterpret_cast<void *>(-1))
        return rotation_state::unusable;
    const rotation_state state = use(static_cast<rotation_block *>(memory), text);
    shmdt(memory);
    return state;
}

rotation_state rotation_look(key_t key)
{
    return visit(key, nullptr);
}

rotation_state rotation_post(key_t key, const std::string &text)
{
    return visit(key, &text);
}

void rotation_remove(key_t key)
{
    const int segment = shmget(key, 0, 0);
    if (segment >= 0)
        shmctl(segment, IPC_RMID, nullptr);
}
