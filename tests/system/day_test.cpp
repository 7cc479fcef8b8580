// SPDX-License-Identifier: MIT
// A whole day of the camera, second by second, with neighbours that die on the way.
#include "virtual_camera.h"

#include "ctl/place.h"
#include "ctl/processes.h"

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

constexpr int64_t most_growth_kib = 8 * 1024; // 100 bytes a second, and it is noticed

// What the daemon holds.
struct holdings {
    size_t threads = 0;
    size_t descriptors = 0;
    size_t children = 0;
    int64_t memory_kib = 0; // of its own
};

static size_t entries(const fs::path &folder)
{
    std::error_code error;
    const fs::directory_iterator first(folder, error);
    return static_cast<size_t>(std::distance(begin(first), end(first)));
}

// But for the journal, which each stand-in library opens when it first has something to tell.
static size_t descriptors(const fs::path &process)
{
    std::error_code error;
    size_t count = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator(process / "fd", error))
        count += fs::read_symlink(entry.path(), error) == "/run/camera/journal" ? 0 : 1;
    return count;
}

static int64_t memory_of(const fs::path &process)
{
    std::ifstream file(process / "status");
    std::string word;
    int64_t kib = 0;
    while (file >> word) {
        if (word == "RssAnon:")
            file >> kib;
    }
    return kib;
}

static holdings look(const virtual_camera &camera)
{
    place where;
    std::string reason;
    EXPECT_TRUE(place_find(camera.name, "", where, reason)) << reason;
    const pid_t pid = processes_inside(where, camera_pid(camera, "daemon"));
    const fs::path process = "/proc/" + std::to_string(pid);
    holdings found = { .threads = entries(process / "task"),
                       .descriptors = descriptors(process),
                       .memory_kib = memory_of(process) };
    std::ifstream children(process / "task" / std::to_string(pid) / "children");
    for (std::string child; children >> child;)
        found.children++;
    return found;
}

class day : public camera_case {
protected:
    json_ptr step(const char *time)
    {
        return camera_ask(camera, { "clock", time });
    }

    // Neighbours die while the clock goes on.
    void step_and_kill(const std::string &time, const std::vector<std::string> &neighbours) const
    {
        const std::string tool = CAMERA_BUILD "/simulator/ctl --name " + camera.name;
        std::string script = tool + " clock " + time + " & step=$!; ";
        for (const std::string &neighbour : neighbours)
            script.append(tool).append(" kill ").append(neighbour).append(" || exit; ");
        const command_result result = run_program({ "sh", "-c", script + "wait $step" });
        EXPECT_EQ(result.status, 0) << result.out << result.err;
    }

    // Night and day change places so many times.
    void switch_night(int times)
    {
        for (int i = 0; i < times; i++)
            camera_ask(camera, { "store", "set", "mem", "time_night", std::to_string(++night), "--number" });
        EXPECT_TRUE(camera_sees(camera, { "what=set", "key=time_night", "value=" + std::to_string(night) }));
    }

    std::vector<json_ptr> reports(const char *name) const
    {
        return camera_journal(camera, { "what=statistics", std::string("name=") + name });
    }

    int night = 0;
};

TEST_F(day, passes_with_one_system_report_and_leaves_nothing_behind)
{
    camera_start(camera);
    camera_ask(camera, { "kill", "cloud" });
    step("+2h");
    const holdings before = look(camera);

    step_and_kill("+13h", { "store" });
    step_and_kill("+9h", { "player", "cloud" });
    step("+1m");

    ASSERT_EQ(reports("system.info").size(), 1U);
    const std::string report = json_get_text(reports("system.info")[0].get(), "object");
    EXPECT_NE(report.find(R"("cloud":1)"), std::string::npos) << report;
    const holdings after = look(camera);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.children, before.children);
    EXPECT_LT(after.memory_kib, before.memory_kib + most_growth_kib);
}

TEST_F(day, brings_an_ir_cut_report_for_each_twenty_minutes_in_which_it_switched)
{
    camera_start(camera);

    step("+19m");
    switch_night(3);
    EXPECT_TRUE(reports("ircut.info").empty());
    step("+2m");
    ASSERT_EQ(reports("ircut.info").size(), 1U);
    EXPECT_EQ(json_get_text(reports("ircut.info")[0].get(), "object"), R"({"type":0,"count":3})");

    step("+41m");
    EXPECT_EQ(reports("ircut.info").size(), 1U) << "nothing has switched since";
    switch_night(1);
    step("+20m");
    ASSERT_EQ(reports("ircut.info").size(), 2U);
    EXPECT_EQ(json_get_text(reports("ircut.info")[1].get(), "object"), R"({"type":0,"count":1})");
}

TEST_F(day, finds_every_link_up_again_after_each_neighbour_has_died)
{
    camera_start(camera);
    step_and_kill("+3h", { "store", "cloud", "player" });
    step("+1m");

    camera_call(camera, "set_flip", R"(["on"])");
    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=kit.flip: 1\n" })) << "cloud and store";
    EXPECT_EQ(camera_value(camera, "mem", "sound_play"), "ready") << "player";
}
