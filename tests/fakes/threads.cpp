// SPDX-License-Identifier: MIT
#include "fakes/threads.h"
#include "fakes/record.h"

#include <pthread.h>

#include <atomic>
#include <memory>

static std::atomic<int> result = 0;
static std::atomic<int> started = 0;
static std::atomic<int> alive = 0;

void threads_reset()
{
    result = 0;
    started = 0;
}

void thread_creation_gives(int error)
{
    result = error;
}

int threads_started()
{
    return started;
}

int threads_alive()
{
    return alive;
}

struct thread_body {
    void *(*run)(void *);
    void *argument;
};

static void *run_counted(void *given)
{
    const std::unique_ptr<thread_body> body(static_cast<thread_body *>(given));
    void *outcome = body->run(body->argument);
    alive--;
    return outcome;
}

extern "C" {

// The linker leads the calls of the program's own objects here.
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                          void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                          void *argument);

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                          void *argument)
{
    record_call("pthread_create(%s attributes)", attributes == nullptr ? "default" : "its own");
    if (result != 0)
        return result;
    started++;
    alive++;
    return __real_pthread_create(thread, attributes, run_counted, new thread_body{ run, argument });
}

} // extern "C"
