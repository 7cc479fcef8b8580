// SPDX-License-Identifier: MIT
#include "kit_link.h"

#include "common/control.h"
#include "common/host_time.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>

static constexpr int patience_ms = 2000;
static constexpr int most_overdue = 50;

struct kit_events {
    torvu_event_callback callback = nullptr;
    control_link link; // the event thread's once it runs
    int wake_fd = -1;  // the same socket, to end it from another thread
    pthread_t thread = {};
    std::atomic<bool> closed = false;
    bool frees_itself = false; // closed by the event thread
};

struct kit {
    control_link calls;
    int overdue = 0; // answers that were given up and may still come
    kit_events *events = nullptr;
};

// The kit lives on the heap, so that ending the process never takes it from under another thread.
static std::mutex kit_lock;
static kit *open_kit = nullptr;

static void free_events(kit_events *events)
{
    if (events == nullptr)
        return;
    control_close(events->link);
    if (events->wake_fd >= 0)
        close(events->wake_fd);
    delete events;
}

static void free_kit(kit *kit)
{
    control_close(kit->calls);
    delete kit;
}

// Takes an answer: what "done" holds, NULL for a refusal.
static json_ptr take_result(json_object *answer)
{
    const json_ptr owned(answer);
    return json_ptr(json_object_get(json_object_object_get(owned.get(), "done")));
}

static void deliver(const kit_events &events, json_object *line)
{
    int event = static_cast<int>(json_get_number(line, "event"));
    if (json_object_object_get(line, "key") != nullptr) {
        int key = static_cast<int>(json_get_number(line, "key"));
        events.callback(event, &key);
    } else if (json_object_object_get(line, "text") != nullptr) {
        std::string text = json_get_text(line, "text");
        events.callback(event, text.data());
    }
}

static void *run_events(void *argument)
{
    auto *events = static_cast<kit_events *>(argument);
    while (!events->closed) {
        const json_ptr line(control_receive(events->link, -1));
        if (line == nullptr)
            break;
        deliver(*events, line.get());
    }
    if (events->frees_itself)
        free_events(events);
    return nullptr;
}

// NULL: stage does not offer events.
static kit_events *connect_events(torvu_event_callback callback)
{
    auto *events = new kit_events;
    events->callback = callback;
    const json_ptr hello = json_of("do", "body.events");
    if (control_connect(events->link)) {
        json_ptr accepted = take_result(control_ask(events->link, hello.get(), patience_ms));
        events->wake_fd = accepted == nullptr ? -1 : fcntl(events->link.fd, F_DUPFD_CLOEXEC, 0);
    }
    if (events->wake_fd >= 0)
        return events;
    free_events(events);
    return nullptr;
}

static bool start_thread(kit_events *events)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    int error = pthread_create(&events->thread, nullptr, run_events, events);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0;
}

bool kit_open(torvu_event_callback callback)
{
    const std::lock_guard<std::mutex> guard(kit_lock);
    if (open_kit != nullptr || callback == nullptr)
        return false;
    auto *made = new kit;
    if (control_connect(made->calls))
        made->events = connect_events(callback);
    if (made->events != nullptr && start_thread(made->events)) {
        open_kit = made;
        return true;
    }
    free_events(made->events);
    free_kit(made);
    return false;
}

static void end_events(kit_events *events)
{
    if (pthread_equal(events->thread, pthread_self()) != 0) {
        pthread_detach(events->thread);
        events->frees_itself = true;
        events->closed = true;
        return;
    }
    events->closed = true;
    shutdown(events->wake_fd, SHUT_RDWR);
    pthread_join(events->thread, nullptr);
    free_events(events);
}

void kit_close(void)
{
    kit *closing = nullptr;
    {
        const std::lock_guard<std::mutex> guard(kit_lock);
        std::swap(closing, open_kit);
    }
    if (closing == nullptr)
        return;
    end_events(closing->events);
    free_kit(closing);
}

// Answers come in order: those that were given up come first and are dropped.
static json_object *receive_answer(kit &kit, int timeout_ms)
{
    const int64_t deadline = host_time_ms() + timeout_ms;
    for (;;) {
        const int64_t left = std::max<int64_t>(deadline - host_time_ms(), 0);
        json_object *answer = control_receive(kit.calls, static_cast<int>(left));
        if (answer == nullptr || kit.overdue == 0)
            return answer;
        kit.overdue--;
        json_object_put(answer);
    }
}

static bool has_link(kit &kit)
{
    if (kit.calls.fd >= 0)
        return true;
    kit.overdue = 0;
    return control_connect(kit.calls);
}

json_ptr kit_ask(const char *command, json_ptr arguments)
{
    json_set_text(arguments.get(), "do", command);
    const std::lock_guard<std::mutex> guard(kit_lock);
    if (open_kit == nullptr || !has_link(*open_kit))
        return nullptr;
    // A stage that answers nothing gets no more to read, or sending would block in the end.
    if (open_kit->overdue >= most_overdue) {
        json_object_put(receive_answer(*open_kit, 0));
        return nullptr;
    }
    if (!control_send(open_kit->calls, arguments.get()))
        return nullptr;
    json_object *answer = receive_answer(*open_kit, patience_ms);
    if (answer == nullptr) {
        open_kit->overdue++;
        return nullptr;
    }
    return take_result(answer);
}
