// SPDX-License-Identifier: MIT
// The tool as a process, and the folders that it makes: all that needs no camera.
#include "ctl/place.h"
#include "ctl/sandbox.h"

#include "harness.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

struct tool_result {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs a tool with a command line as a shell reads it.
static tool_result tool_at(const std::string &program, const std::string &line)
{
    const std::string err = desk_path("tool_err");
    const std::string whole = program + " " + line + " 2>" + err;
    tool_result result;
    FILE *pipe = popen(whole.c_str(), "r"); // NOLINT(cert-env33-c): the lines are the cases' own
    char part[1024];
    size_t count = 0;
    while (pipe != nullptr && (count = fread(part, 1, sizeof(part), pipe)) > 0)
        result.out.append(part, count);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = desk_file(err);
    return result;
}

static tool_result tool(const std::string &line)
{
    return tool_at(CAMERA_PROGRAMS "/ctl", line);
}

// A session folder and a home of the case's own.
static void own_folders(void)
{
    setenv("XDG_RUNTIME_DIR", desk_path("session").c_str(), 1);
    setenv("XDG_STATE_HOME", desk_path("states").c_str(), 1);
    fs::create_directory(desk_path("session"));
}

// Puts a program of the case's own before the system's.
static void own_program(const char *name, const std::string &script)
{
    const std::string folder = desk_path("programs");
    fs::create_directories(folder);
    std::ofstream(folder + "/" + name) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(folder + "/" + name, fs::perms::owner_all);
    setenv("PATH", (folder + ":/usr/bin:/bin").c_str(), 1);
}

STORY(ctl_tool, without_words_shows_its_help)
{
    const tool_result result = tool("");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("./camera COMMAND"), std::string::npos);
    EXPECT_EQ(tool("--help").out, result.out);
    EXPECT_EQ(tool("help").out, result.out);
}

STORY(ctl_tool, explains_each_command)
{
    EXPECT_NE(tool("call --help").out.find("./camera call METHOD [PARAMS]"), std::string::npos);
    EXPECT_EQ(tool("help call").out, tool("call --help").out);
    EXPECT_NE(tool("store --help").out.find("store watch [KEY]"), std::string::npos);
    EXPECT_NE(tool("help --json").out.find(R"("command":"store get")"), std::string::npos);
}

STORY(ctl_tool, answers_a_mistake_with_one_sentence_and_status_2)
{
    const tool_result result = tool("leeds");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "there is no command \"leeds\", did you mean \"leds\"?\n");
}

STORY(ctl_tool, answers_in_json_when_asked_to)
{
    const tool_result result = tool("leeds --json");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "{\"failed\":\"there is no command \\\"leeds\\\", did you mean \\\"leds\\\"?\"}\n");
    EXPECT_EQ(result.err, "");
}

STORY(ctl_tool, says_that_there_is_no_camera_and_how_to_get_one)
{
    own_folders();
    for (const char *line :
         { "status", "leds", "head", "call get_prop", "store get power", "store list", "store watch",
           "kill daemon", "restart daemon", "prop list", "prop get power", "prop set power on", "prop copy",
           "prop keep power on", "prop pull", "prop check" }) {
        const tool_result result = tool(line + std::string(" --name nobody"));
        EXPECT_EQ(result.status, 2) << line;
        EXPECT_EQ(result.err,
                  "camera \"nobody\" does not run; ./camera run --detach --name nobody starts it\n")
            << line;
    }
    EXPECT_EQ(tool("stop --name nobody").err, "camera \"nobody\" does not run\n");
    EXPECT_EQ(tool("log --name nobody").err,
              "camera \"nobody\" has no log yet; ./camera run --name nobody starts it\n");
}

STORY(ctl_tool, does_not_take_params_that_are_no_json)
{
    const tool_result result = tool("call set_power off");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("\"off\" is no JSON"), std::string::npos) << result.err;
}

STORY(ctl_run, names_the_presets_when_there_is_no_such)
{
    own_folders();
    const tool_result result = tool("run --preset gold");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "there is no preset \"gold\"; take \"release\", \"dev\", \"asan\" or \"tsan\"\n");
}

// The tool alone, in a build folder of the case's own.
static std::string tool_copy(void)
{
    const std::string folder = desk_path("build") + "/mine/simulator";
    fs::create_directories(folder);
    fs::copy_file(CAMERA_PROGRAMS "/ctl", folder + "/ctl");
    return folder + "/ctl";
}

STORY(ctl_run, is_done_by_the_tool_of_the_preset_with_the_same_words)
{
    own_folders();
    const std::string copy = tool_copy();
    const std::string other = desk_path("build") + "/tsan/simulator";
    fs::create_directories(other);
    std::ofstream(other + "/ctl") << "#!/bin/sh\necho \"$@\"\n";
    fs::permissions(other + "/ctl", fs::perms::owner_all);

    EXPECT_EQ(tool_at(copy, "run --preset tsan --name porch --seed 5 --detach").out,
              "run --preset tsan --name porch --seed 5 --detach\n");
    EXPECT_EQ(tool_at(copy, "with --preset tsan -- ls --all").out, "with --preset tsan -- ls --all\n");
}

STORY(ctl_run, names_the_build_that_is_not_there)
{
    own_folders();

    const tool_result result = tool_at(tool_copy(), "run --preset tsan");

    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "there is no build of the preset \"tsan\"; ./camera run --preset tsan makes it\n");
}

STORY(ctl_run, takes_no_seed_that_is_no_number)
{
    own_folders();
    for (const char *seed : { "abc", "-1", "1234567890123456789" }) {
        const tool_result result = tool(std::string("run --detach --name nobody --seed ") + seed);
        EXPECT_EQ(result.status, 2) << seed;
        EXPECT_EQ(result.err,
                  std::string("\"") + seed + "\" is no seed; take a number of at most 18 digits\n");
    }
}

STORY(ctl_run, says_what_helps_where_the_system_forbids_the_sandbox_and_starts_nothing)
{
    own_folders();
    own_program("bwrap", "echo 'bwrap: No permissions to create new namespace' >&2; touch " +
                             desk_path("asked") + "; exit 1");

    const tool_result result = tool("run --detach --name walled");

    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("this system forbids the sandbox that the camera runs in (bwrap: No "
                              "permissions to create new namespace); "),
              std::string::npos)
        << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
    EXPECT_TRUE(fs::exists(desk_path("asked")));
    EXPECT_EQ(tool("status --name walled").status, 2);
    EXPECT_EQ(tool("check").status, 1);
}

STORY(ctl_run, names_the_package_where_there_is_no_bubblewrap)
{
    own_folders();
    setenv("PATH", desk_path("nothing").c_str(), 1);
    const tool_result result = tool("run --detach --name walled");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err,
              "bwrap cannot be run: No such file or directory; apt-get install bubblewrap brings it\n");
}

static std::string no_place(const std::string &name, const std::string &state = "")
{
    place where;
    std::string reason;
    EXPECT_FALSE(place_find(name, state, where, reason));
    return reason;
}

STORY(ctl_place, is_short_and_private)
{
    own_folders();
    place where;
    std::string reason;

    ASSERT_TRUE(place_find("porch", "", where, reason)) << reason;
    ASSERT_TRUE(place_make_run(where, reason)) << reason;

    EXPECT_EQ(where.run, desk_path("session") + "/kivo-camera-" + std::to_string(geteuid()) + "/porch");
    EXPECT_EQ(where.state, desk_path("states") + "/kivo_camwarden/porch");
    struct stat about = {};
    ASSERT_EQ(stat(where.run.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777U, 0700U);
}

STORY(ctl_place, takes_only_names_that_are_no_paths)
{
    for (const char *name : { "", "a/b", "..", ".hidden", "a b", "ä" })
        EXPECT_NE(no_place(name).find("is no name for a camera"), std::string::npos) << name;
    EXPECT_NE(no_place(std::string(41, 'a')).find("is no name for a camera"), std::string::npos);
}

STORY(ctl_place, refuses_a_folder_whose_sockets_would_have_too_long_a_name)
{
    const std::string deep = desk_path(std::string(90, 'd').c_str());
    fs::create_directory(deep);
    setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);
    EXPECT_NE(no_place("porch").find("is too long for a socket"), std::string::npos);
}

STORY(ctl_place, refuses_a_folder_of_someone_else)
{
    own_folders();
    place where;
    std::string reason;
    ASSERT_TRUE(place_find("porch", "", where, reason)) << reason;
    // Not a folder of ours: a link, wherever it leads.
    fs::create_directory(desk_path("elsewhere"));
    fs::create_symlink(desk_path("elsewhere"), fs::path(where.run).parent_path());

    EXPECT_FALSE(place_make_run(where, reason));

    EXPECT_NE(reason.find("belongs to someone else"), std::string::npos) << reason;
}

STORY(ctl_place, is_locked_by_one_at_a_time)
{
    own_folders();
    place where;
    std::string reason;
    ASSERT_TRUE(place_find("porch", "", where, reason) && place_make_run(where, reason)) << reason;
    EXPECT_FALSE(place_is_running(where));

    const int lock = place_lock(where);

    EXPECT_GE(lock, 0);
    EXPECT_TRUE(place_is_running(where));
    EXPECT_EQ(place_lock(where), -1);
    EXPECT_FALSE(place_wait_stopped(where, 0));
    close(lock);
    EXPECT_TRUE(place_wait_stopped(where, 0));
}

STORY(ctl_place, is_cleaned_of_our_own_files_only)
{
    own_folders();
    place where;
    std::string reason;
    ASSERT_TRUE(place_find("porch", desk_path("mine"), where, reason) && place_make_state(where, reason))
        << reason;
    for (const char *name :
         { "nvram.db", "nvram.db-wal", "nvram.db.damaged-1", "cloud.json", "thesis.txt", "my_nvram" })
        std::ofstream(where.state + "/" + name) << "x";

    place_clean_state(where);

    EXPECT_FALSE(fs::exists(where.state + "/nvram.db"));
    EXPECT_FALSE(fs::exists(where.state + "/nvram.db-wal"));
    EXPECT_FALSE(fs::exists(where.state + "/nvram.db.damaged-1"));
    EXPECT_FALSE(fs::exists(where.state + "/cloud.json"));
    EXPECT_TRUE(fs::exists(where.state + "/thesis.txt"));
    EXPECT_TRUE(fs::exists(where.state + "/my_nvram"));
}
