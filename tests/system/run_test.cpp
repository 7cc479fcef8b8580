// SPDX-License-Identifier: MIT
// How a camera is started and stopped, for whom, and how many at a time.
#include "virtual_camera.h"

#include "ctl/place.h"
#include "ctl/show.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace fs = std::filesystem;

class unbound : public camera_case {};

TEST_F(unbound, camera_stores_its_power_but_does_not_act_on_it)
{
    camera_start(camera, { "--unbound" });

    camera_ask(camera, { "call", "set_power", R"(["off"])" });

    EXPECT_EQ(camera_value(camera, "nvram", "power"), "off");
    EXPECT_FALSE(camera_is_dark(camera));
}

TEST_F(unbound, camera_says_so_and_what_follows)
{
    camera_start(camera, { "--unbound" });

    const std::string status = camera_do(camera, { "status" }).out;

    EXPECT_NE(status.find("not bound: \"power\" is stored, but only a bound camera watches it"),
              std::string::npos)
        << status;
    EXPECT_TRUE(camera_journal(camera, { "who=cloud", "what=bound" }).empty());
}

class bound : public camera_case {};

TEST_F(bound, camera_stays_bound_without_being_bound_again)
{
    camera_start(camera);
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=bound", "before=false" }));
    EXPECT_TRUE(camera_sees(camera, { "who=store", "key=bind_status", "value=ok" }));
    camera_stop(camera);

    camera_start(camera);

    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=bound", "before=true" }));
    EXPECT_TRUE(camera_journal(camera, { "what=set", "key=bind_status" }).empty());
    EXPECT_NE(camera_do(camera, { "status" }).out.find("bound: a change of \"power\" is watched"),
              std::string::npos);
}

class two_cameras : public camera_case {};

TEST_F(two_cameras, side_by_side_do_not_meet)
{
    virtual_camera other;
    camera_make(other, "other");
    camera_start(camera);
    camera_start(other);

    camera_ask(camera, { "call", "set_power", R"(["off"])" });
    EXPECT_EQ(camera_do(other, { "kill", "daemon" }).status, 0);

    EXPECT_EQ(camera_value(camera, "nvram", "power"), "off");
    EXPECT_TRUE(camera_is_dark(camera));
    EXPECT_FALSE(camera_is_dark(other));
    EXPECT_EQ(camera_value(other, "nvram", "power"), "on");
    EXPECT_TRUE(camera_journal(camera, { "what=exit" }).empty());
    camera_unmake(other);
}

TEST_F(two_cameras, cannot_have_the_same_name)
{
    camera_start(camera);

    const command_result second =
        camera_do(camera, { "run", "--detach", "--state", camera.folder + "/state" });

    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "camera \"" + camera.name + "\" runs already; ./camera stop --name " + camera.name +
                              " stops it\n");
    EXPECT_EQ(camera_do(camera, { "status" }).status, 0);
}

class foreground : public camera_case {};

// Starts the tool with its output in a pipe, whose reading end is returned.
static int start_in_foreground(const virtual_camera &camera, pid_t &tool)
{
    int ends[2] = { -1, -1 };
    if (pipe(ends) != 0)
        return -1;
    tool = fork();
    if (tool == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl(CAMERA_BUILD "/simulator/ctl", "ctl", "run", "--name", camera.name.c_str(), "--state",
              (camera.folder + "/state").c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    return ends[0];
}

TEST_F(foreground, interrupt_stops_everything_in_order)
{
    pid_t tool = -1;
    const int output = start_in_foreground(camera, tool);
    const std::string start = read_until(output, "or Ctrl-C here\n");
    EXPECT_NE(start.find("or Ctrl-C here"), std::string::npos) << start;

    kill(tool, SIGINT);

    const std::string log = read_until(output, "this never comes");
    int status = -1;
    waitpid(tool, &status, 0);
    close(output);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_NE(log.find("kivo_camwarden says goodbye!"), std::string::npos) << log;
    EXPECT_NE(log.find("stage   the camera stops\n"), std::string::npos) << log;
    EXPECT_EQ(camera_do(camera, { "status" }).status, 2);
    place where;
    std::string reason;
    ASSERT_TRUE(place_find(camera.name, "", where, reason)) << reason;
    EXPECT_EQ(show_reports(where), "");
    fs::remove_all(where.run);
}

class ordinary_user : public camera_case {};

// Root hands a copy of the programs to a user without rights; anybody else is one.
static std::vector<std::string> as_ordinary_user(const std::string &folder)
{
    if (geteuid() != 0)
        return { CAMERA_BUILD "/simulator/ctl" };
    const std::string build = folder + "/build/copy";
    fs::create_directories(build);
    for (const char *part : { "kivo_camwarden", "lib", "factory", "sound", "simulator" })
        fs::copy(fs::path(CAMERA_BUILD) / part, fs::path(build) / part, fs::copy_options::recursive);
    fs::permissions(folder, fs::perms::all);
    return { "setpriv", "--reuid",        "65534",
             "--regid", "65534",          "--clear-groups",
             "env",     "HOME=" + folder, build + "/simulator/ctl" };
}

TEST_F(ordinary_user, runs_a_camera_too_and_looks_into_it)
{
    const std::vector<std::string> tool = as_ordinary_user(camera.folder);
    std::vector<std::string> line = tool;
    line.insert(
        line.end(),
        { "with", "--", "sh", "-c",
          R"("$0" call get_prop '["power"]' --json && "$0" shell -- id && "$0" gdb -batch -ex 'print kit.power')",
          tool.back() });

    const command_result result = run_program(line);

    EXPECT_NE(result.out.find(R"("result":["on"])"), std::string::npos) << result.out << result.err;
    EXPECT_NE(result.out.find("uid=0(root) gid=0(root)"), std::string::npos) << result.out << result.err;
    if (result.err.find("this system does not let a debugger") != std::string::npos)
        GTEST_SKIP() << result.err;
    EXPECT_NE(result.out.find("$1 = 1 '\\001'"), std::string::npos) << result.out << result.err;
    EXPECT_EQ(result.status, 0) << result.err;
}
