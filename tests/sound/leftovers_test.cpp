// SPDX-License-Identifier: MIT
// A thousand prompts, most of which fail, leave nothing behind.
#include "sound_desk.h"

#include "fakes/memory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

// What the process has mapped of the folder.
static texts mapped_of(const std::string &folder)
{
    texts lines;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(folder) != std::string::npos)
            lines.push_back(line);
    return lines;
}

// Every descriptor and what it leads to, but for the one that lists them.
static std::set<std::string> descriptors()
{
    std::set<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        std::string target = std::filesystem::read_symlink(entry.path(), gone);
        if (target.find("/fd") == std::string::npos)
            all.insert(entry.path().string() + " " + target);
    }
    return all;
}

struct leftovers : sound_desk {
    leftovers()
    {
        prompts.has("ding", std::string(70000, 'd'));
        prompts.has("en/ding", "english");
        prompts.has("empty", "");
    }

    static void fails_somewhere(int turn)
    {
        prompt_files.open_errno = turn % 8 == 1 ? EMFILE : 0;
        prompt_files.fstat_errno = turn % 8 == 2 ? EIO : 0;
        prompt_files.mmap_errno = turn % 8 == 3 ? ENOMEM : 0;
        if (turn % 8 == 4)
            allocation_fails(1);
        bus_send_fails(turn % 8 == 5 ? 1 : turn % 8 == 6 ? 2 : 0);
    }

    static void plays(int turn)
    {
        const char *name = turn % 8 == 7 ? "empty" : "ding";
        const char *spoken = turn % 3 == 0 ? "en" : turn % 3 == 1 ? "fr" : "";
        sound_play(name, turn % 16 < 8 ? sound_queued : 0, spoken);
        allocation_failed();
    }
};

TEST_F(leftovers, there_are_none_of_a_thousand_prompts_with_failures)
{
    const std::set<std::string> before = descriptors();
    for (int turn = 0; turn < 1000; turn++) {
        if (turn % 100 == 50)
            link_is_up();
        fails_somewhere(turn);
        plays(turn);
        bus_forgets_messages();
        if (turn % 100 == 99)
            sound_exit();
        record_clear();
    }
    EXPECT_EQ(mapped_of(prompts.path), texts{});
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(prompt_mappings(), 0);
}

TEST_F(leftovers, there_are_mappings_as_long_as_prompts_wait)
{
    sound_play("ding", sound_queued, "");
    EXPECT_EQ(mapped_of(prompts.path).size(), 1U);
    EXPECT_EQ(prompt_mappings(), 1);
}
