// SPDX-License-Identifier: MIT
#include "fakes/threads.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <memory>

static std::atomic<int> result = 0;
static std::atomic<int> started = 0;
static std::atomic<int> alive = 0;

// The creating thread's.
static std::function<bool()> may_begin;
static pthread_t made_last;

void threads_reset()
{
    may_begin = nullptr;
    result = 0;
    started = 0;
}

void thread_creation_gives(int error)
{
    result = error;
}

void thread_begins_when(std::function<bool()> allowed)
{
    may_begin = std::move(allowed);
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
    std::function<bool()> may_begin;
};

static void *run_counted(void *given)
{
    const std::unique_ptr<thread_body> body(static_cast<thread_body *>(given));
    while (body->may_begin && !body->may_begin())
        sched_yield();
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
    if (call_is_to_fail())
        return EAGAIN;
    started++;
    alive++;
    int error =
        __real_pthread_create(thread, attributes, run_counted, new thread_body{ run, argument, may_begin });
    if (error == 0)
        made_last = *thread;
    return error;
}

int __real_pthread_detach(pthread_t thread);
int __wrap_pthread_detach(pthread_t thread);

int __wrap_pthread_detach(pthread_t thread)
{
    record_call("pthread_detach(%s)",
                pthread_equal(thread, made_last) != 0 ? "the thread made last" : "another");
    return __real_pthread_detach(thread);
}

} // extern "C"
