// SPDX-License-Identifier: MIT
// Switching on and off goes by one word of flags, so that main and worker always agree on who does what:
//   running    tracking is switched on
//   anew       and that since the worker at the block last set about making it
//   at_block   a worker has taken charge of the shared block
// A worker that is switched off notices within 10 ms, or at the end of the rotation under way, and removes
// the block. One that is switched on again before it noticed runs on, and no second one is started; the block
// that it has just removed, or was refused, it makes anew. A worker that finds another at the block leaves it
// alone.
#include "motor/rotation_channel.h"

#include "core/kit.h"
#include "libkivo_util.h"
#include "motor/rotation.h"
#include "motor/rotation_block.h"

#include <sys/shm.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

constexpr unsigned running = 1;
constexpr unsigned anew = 2;
constexpr unsigned at_block = 4;

constexpr int block_mode = 0666; // whoever comes first makes it
constexpr useconds_t poll_pause_us = 10000;
constexpr useconds_t lock_pause_us = 1000;
constexpr int lock_tries = 5000; // a writer holds the lock for an instant: after five seconds it is dead
constexpr unsigned last_pause_s = 5;

static std::atomic<unsigned> state = 0;

static bool is_running(void)
{
    return (state.load() & running) != 0;
}

static void init_mutex(pthread_mutex_t &mutex)
{
    pthread_mutexattr_t between_processes;
    pthread_mutexattr_init(&between_processes);
    pthread_mutexattr_setpshared(&between_processes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(&mutex, &between_processes);
    pthread_mutexattr_destroy(&between_processes);
}

// True: locked. False: switched off meanwhile. A plain lock would wait for a dead writer for ever; a mutex
// that a writer has left locked, or spoilt, is made anew.
static bool lock(pthread_mutex_t &mutex)
{
    for (int tries = 1; is_running(); tries++) {
        int result = pthread_mutex_trylock(&mutex);
        if (result == EOWNERDEAD) // a writer has made it a robust one
            result = pthread_mutex_consistent(&mutex);
        if (result == 0)
            return true;
        if (result != EBUSY || tries % lock_tries == 0)
            init_mutex(mutex);
        usleep(lock_pause_us);
    }
    return false;
}

// False: nothing was posted. The text is copied before the lock is let go, since a writer may then post the
// next one.
static bool take_command(rotation_block &block, char (&command)[rotation_cmd_size + 1])
{
    if (!lock(block.mutex))
        return false;
    std::atomic_ref<int32_t> pending(block.pending);
    bool posted = pending.load() == 1;
    if (posted) {
        pending.store(0);
        memcpy(command, block.cmd, rotation_cmd_size);
        command[rotation_cmd_size] = '\0';
    }
    pthread_mutex_unlock(&block.mutex);
    return posted;
}

static void watch_block(rotation_block &block)
{
    std::atomic_ref<int32_t>(block.pending).store(0);
    init_mutex(block.mutex);
    while (is_running()) {
        char command[rotation_cmd_size + 1];
        bool shuts_down = shared(kit.exiting).load() != 0;
        if (!shuts_down && take_command(block, command))
            shm_message(0, command);
        else
            usleep(poll_pause_us);
    }
    std::atomic_ref<int32_t>(block.pending).store(0);
}

// From the making of the block, where there is one to be had, to its removal.
static void serve_block(void)
{
    int id = shmget(rotation_key, sizeof(rotation_block), IPC_CREAT | block_mode);
    if (id < 0) {
        perror("fail to shmget");
        return;
    }
    void *memory = shmat(id, nullptr, 0);
    if (!memory || reinterpret_cast<intptr_t>(memory) == -1) {
        perror("Failed to shmat");
        return;
    }
    watch_block(*static_cast<rotation_block *>(memory));
    if (shmdt(memory) != 0)
        perror("Failed to shmdt");
    else if (shmctl(id, IPC_RMID, nullptr) != 0)
        perror("failed to shmctl");
}

static bool cleared_from(unsigned flags)
{
    return state.compare_exchange_strong(flags, 0);
}

static void serve_while_switched_on(void)
{
    if ((state.fetch_or(at_block) & at_block) != 0)
        return;
    do {
        state.fetch_and(~anew);
        serve_block();
        // Refused the block, or switched off. Only the worker takes anew away and leaves running: the state
        // cannot become the first after it was asked for.
    } while (!cleared_from(running | at_block) && !cleared_from(at_block));
}

static void *motor_shm_rotate_task_thread(void *)
{
    serve_while_switched_on();
    sleep(last_pause_s);
    log_err("motor_shm_rotate_task_thread exit normal\n");
    return nullptr;
}

// 0, or the error of the thread's creation.
static int start_worker(void)
{
    pthread_t worker;
    int result = pthread_create(&worker, nullptr, motor_shm_rotate_task_thread, nullptr);
    if (result == 0)
        pthread_detach(worker);
    return result;
}

int motor_rotate_init(void)
{
    if (is_running())
        return 0;
    bool runs_on = (state.fetch_or(running | anew) & at_block) != 0;
    int result = runs_on ? 0 : start_worker();
    if (result != 0) {
        motor_rotate_finish();
        log_err("create motor_shm_task_thread fail ret = %d\n", result);
        return -1;
    }
    log_err("create motor_shm_task_thread success\n");
    return 0;
}

int motor_rotate_finish(void)
{
    state.fetch_and(~(running | anew));
    return 0;
}
