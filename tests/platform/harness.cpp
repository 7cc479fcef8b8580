// SPDX-License-Identifier: MIT
#include "harness.h"

#include "common/clock.h"
#include "common/clock_owner.h"
#include "common/clock_state.h"
#include "common/page.h"
#include "common/run_folder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

static constexpr auto longest_story = std::chrono::seconds(60);
static constexpr auto longest_wait = std::chrono::seconds(20);

static bool holds_within(std::chrono::seconds longest, const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + longest;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        poll(nullptr, 0, 1);
    }
    return true;
}

static void start_child(const std::function<void()> &body)
{
    body();
    fflush(nullptr);
    exit(testing::Test::HasFailure() ? 1 : 0);
}

pid_t desk_begin_process(const std::function<void()> &body)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0)
        start_child(body);
    return child;
}

int desk_end_process(pid_t process)
{
    int status = -1;
    while (process > 0 && waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

int desk_in_process(const std::function<void()> &body)
{
    return desk_end_process(desk_begin_process(body));
}

void desk_run(void (*story)(void))
{
    char pattern[] = "/tmp/camera_test_XXXXXX";
    char *folder = mkdtemp(pattern);
    ASSERT_NE(folder, nullptr) << "no folder can be made in /tmp";
    const pid_t process = desk_begin_process([folder, story] {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setenv("CAMERA_RUN", folder, 1);
        setenv("CAMERA_WHO", "daemon", 1);
        unsetenv("CAMERA_SEED");
        story();
    });
    ASSERT_GT(process, 0) << "no process can be made";
    siginfo_t end = {};
    const bool in_time = holds_within(longest_story, [&end, process] {
        return waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
               end.si_pid != 0;
    });
    kill(-process, SIGKILL); // the case itself when it hangs, and what it did not live to end
    const int status = desk_end_process(process);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(status, 0) << (in_time ? "the case failed, see above" : "the case ran out of time");
}

std::string desk_path(const char *file)
{
    return run_folder_path(file);
}

void desk_page(void)
{
    run_page *page = page_create();
    ASSERT_NE(page, nullptr);
    clock_owner_set_speed({ 0, 1 });
    clock_state state = clock_state_take(page);
    state.base_virtual_ns = 0; // it has run for a moment, which nobody has seen yet
    page->newest_ns = 0;
    clock_state_publish(page, state);
}

int64_t desk_clock_ms(void)
{
    return clock_monotonic_ns() / 1000000;
}

void desk_clock_step(int64_t ms)
{
    clock_owner_step_to_ns(clock_monotonic_ns() + ms * 1000000);
}

void desk_clock_run(uint32_t speed)
{
    ASSERT_TRUE(clock_owner_set_speed({ speed, 1 }));
}

std::string desk_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

std::vector<json_ptr> desk_journal(void)
{
    std::vector<json_ptr> lines;
    std::istringstream text(desk_file(desk_path("journal")));
    for (std::string line; std::getline(text, line);) {
        json_ptr object = json_parse(line);
        EXPECT_TRUE(json_object_is_type(object.get(), json_type_object)) << "broken line: " << line;
        lines.push_back(std::move(object));
    }
    return lines;
}

std::vector<std::string> desk_journal_of(const char *what)
{
    std::vector<std::string> texts;
    int64_t n = 0;
    int64_t ms = 0;
    for (const json_ptr &line : desk_journal()) {
        EXPECT_EQ(json_get_number(line.get(), "n"), ++n) << json_text(line.get());
        EXPECT_GE(json_get_number(line.get(), "ms", -1), ms) << json_text(line.get());
        ms = json_get_number(line.get(), "ms");
        if (json_get_text(line.get(), "what") != what)
            continue;
        json_object_object_del(line.get(), "n");
        json_object_object_del(line.get(), "ms");
        texts.push_back(json_text(line.get()));
    }
    return texts;
}

bool desk_wait(const std::function<bool()> &condition)
{
    return holds_within(longest_wait, condition);
}

void desk_turn_until(const std::function<void(int ready_fd)> &turn, const std::function<bool()> &condition)
{
    constexpr auto longest = std::chrono::seconds(10);
    int ends[2] = { -1, -1 };
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    const auto deadline = std::chrono::steady_clock::now() + longest;
    do
        turn(ends[0]);
    while (!condition() && std::chrono::steady_clock::now() < deadline);
    EXPECT_TRUE(condition());
    close(ends[0]);
    close(ends[1]);
}

void desk_catch_stderr(void)
{
    int fd = open(desk_path("stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(dup2(fd, STDERR_FILENO), STDERR_FILENO);
    close(fd);
}

std::string desk_stderr(void)
{
    return desk_file(desk_path("stderr"));
}
