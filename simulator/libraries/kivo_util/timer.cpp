// SPDX-License-Identifier: MIT
// A timer of the daemon ticks by the virtual clock: stage gets the descriptor and expires it. Without stage
// the kernel does, by the host's clock.
#include "contract.h"

#include "common/control.h"
#include "common/json.h"
#include "common/page.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

enum class stage_answer { done, refused, silent, absent };

static constexpr int longest_answer_ms = 5000;

static std::mutex stage_mutex; // guards the two below
static control_link stage_link;
static pid_t stage_link_owner = 0;

// A child of fork opens a connection of its own; its answers would get mixed with its parent's.
static bool connect_to_stage(void)
{
    if (stage_link.fd >= 0 && stage_link_owner == getpid())
        return true;
    stage_link_owner = getpid();
    return control_connect(stage_link);
}

static stage_answer ask_stage(int fd, json_object *command)
{
    if (!connect_to_stage() || !control_send(stage_link, command, fd))
        return stage_answer::absent;
    const json_ptr answer(control_receive(stage_link, longest_answer_ms));
    if (answer == nullptr) {
        const bool gone = stage_link.fd < 0;
        control_close(stage_link);
        return gone ? stage_answer::absent : stage_answer::silent;
    }
    return json_object_object_get_ex(answer.get(), "done", nullptr) ? stage_answer::done
                                                                    : stage_answer::refused;
}

static stage_answer start_by_stage(int fd, int first_ms, int interval_ms)
{
    const json_ptr command = json_of("do", "clock.timer");
    json_set_number(command.get(), "fd", fd); // the same again means: this timer anew
    json_set_number(command.get(), "first_ms", first_ms);
    json_set_number(command.get(), "interval_ms", interval_ms);

    const std::lock_guard<std::mutex> guard(stage_mutex);
    const stage_answer answer = ask_stage(fd, command.get());
    return answer == stage_answer::absent ? ask_stage(fd, command.get()) : answer; // stage may be a new one
}

static timespec to_timespec(int ms)
{
    return { .tv_sec = ms / 1000, .tv_nsec = ms % 1000 * 1000000L };
}

static int start_by_kernel(int fd, int first_ms, int interval_ms)
{
    itimerspec times = { .it_interval = to_timespec(interval_ms), .it_value = to_timespec(first_ms) };
    if (first_ms == 0)
        times.it_value.tv_nsec = 1; // 0 would mean never
    return timerfd_settime(fd, 0, &times, nullptr);
}

static int fail(int error)
{
    errno = error;
    return -1;
}

int timer_start(int fd, int first_ms, int interval_ms)
{
    itimerspec present = {};
    if (timerfd_gettime(fd, &present) != 0)
        return -1;
    if (first_ms < 0 || interval_ms < 0)
        return fail(EINVAL);
    if (page_open() == nullptr)
        return start_by_kernel(fd, first_ms, interval_ms);
    switch (start_by_stage(fd, first_ms, interval_ms)) {
    case stage_answer::done:
        return 0;
    case stage_answer::refused:
        return fail(EINVAL);
    case stage_answer::silent:
        return fail(ETIMEDOUT);
    case stage_answer::absent:
        break;
    }
    return start_by_kernel(fd, first_ms, interval_ms);
}
