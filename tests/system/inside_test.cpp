// SPDX-License-Identifier: MIT
// Into the sandbox: a debugger for the daemon, a shell beside it.
#include "virtual_camera.h"

#include "ctl/place.h"
#include "ctl/processes.h"

#include <pty.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

static const std::string tool = CAMERA_BUILD "/simulator/ctl";

static bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

class debugger : public camera_case {
protected:
    command_result gdb(const std::vector<std::string> &commands) const
    {
        std::vector<std::string> words = { "gdb", "-batch" };
        for (const std::string &command : commands)
            words.insert(words.end(), { "-ex", command });
        return camera_do(camera, words);
    }

    pid_t daemon() const
    {
        place where;
        std::string reason;
        EXPECT_TRUE(place_find(camera.name, "", where, reason)) << reason;
        return processes_inside(where, camera_pid(camera, "daemon"));
    }
};

static bool is_forbidden(const command_result &result)
{
    return contains(result.err, "this system does not let a debugger hold the daemon");
}

TEST_F(debugger, knows_the_daemon_and_the_stand_in_libraries_with_their_sources)
{
    camera_start(camera);

    const command_result result =
        gdb({ "print kit.power", "info line generate_random_id", "info line libselvar_config_get" });

    if (is_forbidden(result))
        GTEST_SKIP() << result.err;
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "$1 = 1 '\\001'")) << result.out;
    EXPECT_TRUE(contains(result.out, "kivo_util/random.cpp\" starts at address")) << result.out;
    EXPECT_TRUE(contains(result.out, "selvar_share/selvar_share.cpp\" starts at address")) << result.out;
}

// The wait is given up from outside, after more host time than it would need.
TEST_F(debugger, stops_the_cameras_clock_as_long_as_it_holds_the_daemon)
{
    camera_start(camera);
    const std::string wait = " wait --within 1500ms 'log no such line' --name " + camera.name;

    const command_result result = gdb({ "shell timeout 3 " + tool + wait + "; echo status $?" });

    if (is_forbidden(result))
        GTEST_SKIP() << result.err;
    EXPECT_TRUE(contains(result.out, "status 124")) << result.out << result.err;
    EXPECT_EQ(run_program({ "sh", "-c", tool + wait }).status, 1);
}

TEST_F(debugger, is_told_when_another_one_holds_the_daemon)
{
    camera_start(camera);
    if (ptrace(PTRACE_SEIZE, daemon(), nullptr, nullptr) != 0)
        GTEST_SKIP() << "this system does not let a debugger hold the daemon";

    const command_result result = gdb({});

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "process " + std::to_string(getpid()) + " holds the daemon already; end that debugger first\n");
    ASSERT_EQ(ptrace(PTRACE_INTERRUPT, daemon(), nullptr, nullptr), 0);
    waitpid(daemon(), nullptr, __WALL);
    ASSERT_EQ(ptrace(PTRACE_DETACH, daemon(), nullptr, nullptr), 0);
}

TEST_F(debugger, is_told_when_the_daemon_does_not_run)
{
    camera_start(camera);
    camera_stop(camera);

    const command_result result = gdb({});

    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(contains(result.err, "does not run; ./camera run --detach")) << result.err;
}

static void forbid_ptrace(void)
{
    forbid_system_call(SYS_ptrace);
}

TEST_F(debugger, that_the_system_forbids_is_told_with_what_helps)
{
    camera_start(camera);
    const command_result result =
        run_program({ tool, "gdb", "--name", camera.name, "-batch" }, {}, forbid_ptrace);

    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.starts_with(
        "this system does not let a debugger hold the daemon (Operation not permitted); "))
        << result.err;
}

class shell : public camera_case {};

TEST_F(shell, command_runs_among_the_cameras_programs_with_their_rights)
{
    camera_start(camera);

    const command_result result = camera_do(
        camera, { "shell", "--", "sh", "-c",
                  "cat /proc/1/comm /etc/passwd; ls /camera/lib; grep CapEff /proc/self/status; exit 6" });

    EXPECT_EQ(result.status, 6);
    EXPECT_TRUE(contains(result.out, "stage\nroot:x:0:0:root:/:/bin/sh\n")) << result.out << result.err;
    EXPECT_TRUE(contains(result.out, "libselvar.so\n")) << result.out;
    EXPECT_TRUE(contains(result.out, "CapEff:\t0000000000000000\n")) << result.out;
}

TEST_F(shell, command_that_dies_gives_its_signal)
{
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "shell", "--", "sh", "-c", "kill -9 $$" }).status, 128 + SIGKILL);
}

static void sees(int terminal, const std::string &wanted)
{
    const std::string text = read_until(terminal, wanted);
    ASSERT_TRUE(contains(text, wanted)) << text;
}

static void type(int terminal, const std::string &text)
{
    ASSERT_EQ(write(terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

TEST_F(shell, at_a_terminal_has_job_control)
{
    camera_start(camera);
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        execl(tool.c_str(), "ctl", "shell", "--name", camera.name.c_str(), nullptr);
        _exit(127);
    }

    sees(terminal, "camera:/# ");
    type(terminal, "sh -c 'echo the shell\"\"s child; exec sleep 100'\n");
    sees(terminal, "the shells child");
    type(terminal, "\x1a");
    sees(terminal, "Stopped");
    type(terminal, "kill -9 %1; fg; exit 5\n");
    read_until(terminal, "nothing more");

    int status = -1;
    close(terminal);
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 5) << status;
}

TEST_F(shell, that_the_system_forbids_is_told)
{
    camera_start(camera);
    const std::string nsenter = camera.folder + "/nsenter";

    const command_result result = run_program(
        { "sh", "-c",
          R"(printf '#!/bin/sh\necho "nsenter: reassociate to namespace failed" >&2; exit 1\n' > "$1" &&
                         chmod +x "$1" && PATH="${1%/*}:$PATH" "$0" shell -- id)",
          tool, nsenter },
        { "CAMERA_NAME=" + camera.name });

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "this system lets no shell into the sandbox (nsenter: reassociate to namespace failed)\n");
}
