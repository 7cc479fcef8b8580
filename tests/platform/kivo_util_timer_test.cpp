// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libkivo_util.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <set>
#include <thread>

// timer_start on a thread of its own, so that the case can be stage meanwhile.
struct starting {
    std::thread thread;
    std::atomic<bool> returned = false;
    int result = 1;
    int error = 0;
};

static void begin(starting &call, int fd, int first_ms, int interval_ms)
{
    call.thread = std::thread([&call, fd, first_ms, interval_ms] {
        errno = 0;
        call.result = timer_start(fd, first_ms, interval_ms);
        call.error = errno;
        call.returned = true;
    });
}

static int result_of(starting &call)
{
    call.thread.join();
    return call.result;
}

static int new_timer(void)
{
    int fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    EXPECT_GT(fd, 0);
    return fd;
}

static bool ticks(int fd)
{
    pollfd watched = { .fd = fd, .events = POLLIN, .revents = 0 };
    return poll(&watched, 1, 20000) == 1 && (watched.revents & POLLIN) != 0;
}

// What the kernel was told: first tick and interval in ms, the first rounded up.
static std::pair<int64_t, int64_t> kernel_times(int fd)
{
    itimerspec times = {};
    EXPECT_EQ(timerfd_gettime(fd, &times), 0);
    return { times.it_value.tv_sec * 1000 + (times.it_value.tv_nsec + 999999) / 1000000,
             times.it_interval.tv_sec * 1000 + times.it_interval.tv_nsec / 1000000 };
}

// Receives a command as stage and checks that it is the one for this timer.
static void expect_command(desk_stage &stage, int fd, int first_ms, int interval_ms)
{
    const json_ptr command = desk_stage_receive(stage);
    EXPECT_EQ(json_get_text(command.get(), "do"), "clock.timer");
    EXPECT_EQ(json_get_number(command.get(), "fd"), fd);
    EXPECT_EQ(json_get_number(command.get(), "first_ms", -1), first_ms);
    EXPECT_EQ(json_get_number(command.get(), "interval_ms", -1), interval_ms);
    EXPECT_GE(stage.passed_fd, 0) << "no descriptor came along";
}

// One timer, handed to stage and accepted.
static void start_one(desk_stage &stage, int fd)
{
    starting call;
    begin(call, fd, 1000, 1000);
    expect_command(stage, fd, 1000, 1000);
    desk_stage_send(stage, R"({"done":{}})");
    EXPECT_EQ(result_of(call), 0);
}

STORY(timer, stage_gets_the_timer_and_makes_it_tick)
{
    desk_stage stage;
    starting call;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);

    begin(call, fd, 1500, 1000);
    expect_command(stage, fd, 1500, 1000);
    desk_stage_send(stage, R"({"done":{}})");
    EXPECT_EQ(result_of(call), 0);
    EXPECT_EQ(kernel_times(fd), std::pair(INT64_C(0), INT64_C(0))) << "the host's clock must not drive it";

    const itimerspec at_once = { .it_interval = {}, .it_value = { .tv_sec = 0, .tv_nsec = 1 } };
    EXPECT_EQ(timerfd_settime(stage.passed_fd, 0, &at_once, nullptr), 0);
    EXPECT_TRUE(ticks(fd));
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, the_call_waits_for_stages_answer)
{
    desk_stage stage;
    starting call;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    begin(call, fd, 1000, 1000);
    expect_command(stage, fd, 1000, 1000);
    EXPECT_FALSE(call.returned);
    desk_stage_send(stage, R"({"done":{}})");
    EXPECT_EQ(result_of(call), 0);
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, what_stage_refuses_fails)
{
    desk_stage stage;
    starting call;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    begin(call, fd, 1000, 1000);
    expect_command(stage, fd, 1000, 1000);
    desk_stage_send(stage, R"({"refused":"no more timers"})");
    EXPECT_EQ(result_of(call), -1);
    EXPECT_EQ(call.error, EINVAL);
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, a_stage_that_never_answers_does_not_hold_the_caller_for_ever)
{
    desk_stage stage;
    starting call;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    begin(call, fd, 1000, 1000);
    expect_command(stage, fd, 1000, 1000);
    EXPECT_EQ(result_of(call), -1);
    EXPECT_EQ(call.error, ETIMEDOUT);
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, all_timers_go_over_one_connection)
{
    desk_stage stage;
    const int one = new_timer();
    const int other = new_timer();
    desk_page();
    desk_stage_listen(stage);
    start_one(stage, one);
    start_one(stage, other);
    EXPECT_EQ(stage.connections, 1);
    desk_stage_close(stage);
    close(one);
    close(other);
}

STORY(timer, a_stage_that_was_started_anew_gets_the_next_timer)
{
    desk_stage stage;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    start_one(stage, fd);
    desk_stage_close(stage);
    desk_stage_listen(stage);
    start_one(stage, fd);
    EXPECT_EQ(stage.connections, 2);
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, a_forked_process_has_a_connection_of_its_own)
{
    desk_stage stage;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    start_one(stage, fd);

    const int first = stage.connection; // the parent's, kept open
    const int other = new_timer();
    stage.connection = -1;
    const pid_t child = desk_begin_process([other] { EXPECT_EQ(timer_start(other, 2000, 2000), 0); });
    expect_command(stage, other, 2000, 2000);
    desk_stage_send(stage, R"({"done":{}})");
    EXPECT_EQ(desk_end_process(child), 0);
    EXPECT_EQ(stage.connections, 2);
    close(first);
    desk_stage_close(stage);
    close(fd);
    close(other);
}

STORY(timer, several_threads_may_start_timers)
{
    constexpr size_t count = 4;
    desk_stage stage;
    starting calls[count];
    std::set<int> fds;
    desk_page();
    desk_stage_listen(stage);
    for (starting &call : calls) {
        const int fd = new_timer();
        fds.insert(fd);
        begin(call, fd, 1000, 1000);
    }
    std::set<int> seen;
    for (size_t i = 0; i < count; i++) {
        const json_ptr command = desk_stage_receive(stage);
        seen.insert(static_cast<int>(json_get_number(command.get(), "fd")));
        EXPECT_GE(stage.passed_fd, 0);
        desk_stage_send(stage, R"({"done":{}})");
    }
    for (starting &call : calls)
        EXPECT_EQ(result_of(call), 0);
    EXPECT_EQ(seen, fds);
    desk_stage_close(stage);
    for (int fd : fds)
        close(fd);
}

static std::set<int> open_descriptors(void)
{
    std::set<int> fds;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        fds.insert(std::stoi(entry.path().filename()));
    return fds;
}

STORY(timer, no_descriptor_of_the_library_reaches_a_program_that_is_started)
{
    desk_stage stage;
    const std::set<int> before = open_descriptors();
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    log_info("opens the journal\n");
    start_one(stage, fd);
    for (int each : open_descriptors()) {
        const int flags = fcntl(each, F_GETFD); // -1: the listing itself
        EXPECT_TRUE(before.contains(each) || flags < 0 || (flags & FD_CLOEXEC) != 0) << "descriptor " << each;
    }
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, the_caller_keeps_its_descriptor)
{
    desk_stage stage;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    start_one(stage, fd);
    EXPECT_GE(fcntl(fd, F_GETFD), 0);
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, without_stage_the_hosts_clock_drives_it)
{
    const int fd = new_timer();
    desk_page();
    EXPECT_EQ(timer_start(fd, 60000, 2500), 0);
    const auto [first, interval] = kernel_times(fd);
    EXPECT_GT(first, 30000);
    EXPECT_LE(first, 60000);
    EXPECT_EQ(interval, 2500);
    close(fd);
}

STORY(timer, without_a_page_the_hosts_clock_drives_it_and_nobody_is_asked)
{
    desk_stage stage;
    const int fd = new_timer();
    desk_stage_listen(stage);
    EXPECT_EQ(timer_start(fd, 20, 10), 0);
    EXPECT_TRUE(ticks(fd));
    uint64_t count = 0;
    EXPECT_EQ(read(fd, &count, sizeof count), 8);
    EXPECT_TRUE(ticks(fd)) << "only one tick";
    pollfd watched = { .fd = stage.listener, .events = POLLIN, .revents = 0 };
    EXPECT_EQ(poll(&watched, 1, 0), 0) << "stage was asked";
    desk_stage_close(stage);
    close(fd);
}

STORY(timer, a_first_time_of_0_ticks_at_once)
{
    const int fd = new_timer();
    EXPECT_EQ(timer_start(fd, 0, 60000), 0);
    EXPECT_TRUE(ticks(fd));
    close(fd);
}

STORY(timer, what_is_no_timer_is_refused_and_stage_is_not_asked)
{
    desk_stage stage;
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    desk_page();
    desk_stage_listen(stage);
    errno = 0;
    EXPECT_EQ(timer_start(-1, 1000, 1000), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(timer_start(null, 1000, 1000), -1);
    EXPECT_EQ(errno, EINVAL);
    desk_stage_close(stage);
    close(null);
}

STORY(timer, times_below_0_are_refused_and_stage_is_not_asked)
{
    desk_stage stage;
    const int fd = new_timer();
    desk_page();
    desk_stage_listen(stage);
    errno = 0;
    EXPECT_EQ(timer_start(fd, -1, 1000), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(timer_start(fd, 1000, -1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(kernel_times(fd), std::pair(INT64_C(0), INT64_C(0)));
    desk_stage_close(stage);
    close(fd);
}
