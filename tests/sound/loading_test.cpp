// SPDX-License-Identifier: MIT
// Which file a prompt is read from, how it is mapped, and what becomes of one that cannot be loaded.
#include "sound_desk.h"

#include "fakes/memory.h"

#include <unistd.h>

#include <cerrno>

struct loading : sound_desk {
    loading()
    {
        link_is_up();
    }

    // The file that was opened.
    static texts opened()
    {
        return calls_of("open");
    }
};

TEST_F(loading, reads_a_prompt_from_the_languages_folder)
{
    prompts.has("booting", "any");
    prompts.has("en/booting", "english");
    EXPECT_EQ(sound_play("booting", 0, "en"), 0);
    EXPECT_EQ(opened(), texts{ "open(/mnt/data/sound/en/booting)" });
    EXPECT_EQ(bus_texts(), texts{ "english" });
}

TEST_F(loading, falls_back_to_the_default_folder_when_the_language_has_none)
{
    prompts.has("booting", "any");
    EXPECT_EQ(sound_play("booting", 0, "fr"), 0);
    EXPECT_TRUE(in_order({ "err: sound path: /mnt/data/sound/fr/ does not exist, set default path!\n",
                           "open(/mnt/data/sound/booting)" }));
    EXPECT_EQ(bus_texts(), texts{ "any" });
}

TEST_F(loading, does_not_take_a_file_for_a_languages_folder)
{
    prompts.has("booting", "any");
    prompts.has("fr", "a file");
    EXPECT_EQ(sound_play("booting", 0, "fr"), 0);
    EXPECT_TRUE(logged("err: sound path: /mnt/data/sound/fr/ does not exist, set default path!\n"));
    EXPECT_EQ(bus_texts(), texts{ "any" });
}

TEST_F(loading, without_a_language_reads_from_the_default_folder)
{
    prompts.has("booting", "any");
    EXPECT_EQ(sound_play("booting", 0, ""), 0);
    EXPECT_TRUE(in_order({ no_language, "open(/mnt/data/sound/booting)" }));
    EXPECT_EQ(bus_texts(), texts{ "any" });
}

TEST_F(loading, does_not_look_elsewhere_when_the_languages_folder_lacks_the_prompt)
{
    prompts.has("booting", "any");
    prompts.has_folder("en");
    EXPECT_EQ(sound_play("booting", 0, "en"), -1);
    EXPECT_EQ(log_lines(), texts{ cannot_open("/mnt/data/sound/en/booting", "No such file or directory") });
}

TEST_F(loading, of_a_long_name_opens_the_whole_name_and_keeps_31_characters)
{
    const std::string name = "a_name_that_has_just_forty_characters_ok";
    ASSERT_EQ(name.size(), 40U);
    prompts.has(name, "bytes");
    EXPECT_EQ(sound_play(name.c_str(), sound_queued, ""), 0);
    EXPECT_EQ(opened(), texts{ "open(/mnt/data/sound/" + name + ")" });
    EXPECT_TRUE(log_mentions("info: sound: sending a_name_that_has_just_forty_char in addr "));
    EXPECT_TRUE(logged("debug: sound: Removed a_name_that_has_just_forty_char\n"));
}

TEST_F(loading, of_a_path_that_is_too_long_opens_nothing)
{
    const std::string name(240, 'n'); // with the folder and a terminator 257
    prompts.has(std::string(239, 'n'), "bytes of another");
    EXPECT_EQ(sound_play(name.c_str(), 0, ""), -1);
    EXPECT_EQ(opened(), texts{});
    EXPECT_EQ(log_lines(), (texts{ no_language, cannot_open("/mnt/data/sound/", "File name too long") }));
}

TEST_F(loading, of_a_path_that_just_fits_opens_it)
{
    const std::string name(239, 'n');
    prompts.has(name, "bytes");
    EXPECT_EQ(sound_play(name.c_str(), 0, ""), 0);
    EXPECT_EQ(bus_texts(), texts{ "bytes" });
}

TEST_F(loading, cuts_the_folder_of_a_language_that_is_far_too_long)
{
    prompts.has("booting", "any");
    EXPECT_EQ(sound_play("booting", 0, std::string(400, 'x').c_str()), 0);
    EXPECT_TRUE(logged("err: sound path: /mnt/data/sound/" + std::string(239, 'x') +
                       " does not exist, set default path!\n"));
    EXPECT_EQ(bus_texts(), texts{ "any" });
}

struct size_row {
    size_t bytes;
    const char *mapped;
};

struct mapping : loading, testing::WithParamInterface<size_row> {};

TEST_P(mapping, is_read_only_shared_of_whole_pages_and_outlives_the_descriptor)
{
    prompts.has("ding", std::string(GetParam().bytes, 'd'));
    EXPECT_EQ(sound_play("ding", 0, ""), 0);
    const texts all = calls();
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[0], "open(/mnt/data/sound/ding)");
    EXPECT_EQ(all[1], "mmap(" + std::string(GetParam().mapped) + ", read, shared)");
    EXPECT_EQ(all[2], "close(prompt)");
    EXPECT_TRUE(all[3].starts_with("wrax_rcv_send_message("));
    EXPECT_EQ(all[4], "munmap(" + std::string(GetParam().mapped) + ")");
}

INSTANTIATE_TEST_SUITE_P(sizes, mapping,
                         testing::Values(size_row{ 1, "4096" }, size_row{ 4095, "4096" },
                                         size_row{ 4096, "4096" }, size_row{ 4097, "8192" },
                                         size_row{ 65536, "65536" }));

// Neither a mapping nor a descriptor nor (the sanitizer looks) an entry is left of these.
struct refused_prompt : loading {
    refused_prompt()
    {
        prompts.has("booting", "bytes");
    }

    static void is_refused_with(const std::string &line)
    {
        for (int flags : { 0, sound_queued }) {
            record_clear();
            EXPECT_EQ(sound_play("booting", flags, ""), -1);
            EXPECT_EQ(log_lines(), (texts{ no_language, line }));
            EXPECT_EQ(prompt_mappings(), 0);
            EXPECT_EQ(calls_of("wrax_rcv_send_message"), texts{});
        }
    }
};

TEST_F(refused_prompt, has_no_file)
{
    unlink((prompts.path + "/booting").c_str());
    is_refused_with(cannot_open("/mnt/data/sound/booting", "No such file or directory"));
    EXPECT_EQ(calls_of("close"), texts{});
}

TEST_F(refused_prompt, cannot_be_opened)
{
    prompt_files.open_errno = EMFILE;
    is_refused_with(cannot_open("/mnt/data/sound/booting", "Too many open files"));
    EXPECT_EQ(calls_of("mmap"), texts{});
}

TEST_F(refused_prompt, finds_no_memory_for_its_entry)
{
    for (int flags : { 0, sound_queued }) {
        record_clear();
        allocation_fails(1);
        EXPECT_EQ(sound_play("booting", flags, ""), -1);
        EXPECT_TRUE(allocation_failed());
        EXPECT_EQ(story(), (texts{ no_language, "open(/mnt/data/sound/booting)",
                                   "warning: sound: Can not allocate sound_entry.\n", "close(prompt)" }));
    }
}

TEST_F(refused_prompt, has_a_size_that_cannot_be_read)
{
    prompt_files.fstat_errno = EIO;
    is_refused_with("warning: sound: Can not stat /mnt/data/sound/booting: Input/output error\n");
    EXPECT_EQ(calls_of("mmap"), texts{});
    EXPECT_EQ(calls_of("close"), texts{ "close(prompt)" });
}

TEST_F(refused_prompt, cannot_be_mapped)
{
    prompt_files.mmap_errno = ENOMEM;
    is_refused_with(
        "warning: sound: Can not map /mnt/data/sound/booting into memory: Cannot allocate memory\n");
    EXPECT_EQ(calls_of("close"), texts{ "close(prompt)" });
}

TEST_F(refused_prompt, is_empty)
{
    prompts.has("booting", "");
    is_refused_with("warning: sound: Can not map /mnt/data/sound/booting into memory: Invalid argument\n");
    EXPECT_EQ(calls_of("close"), texts{ "close(prompt)" });
}

TEST_F(refused_prompt, is_a_folder)
{
    unlink((prompts.path + "/booting").c_str());
    prompts.has_folder("booting");
    is_refused_with("warning: sound: Can not map /mnt/data/sound/booting into memory: No such device\n");
}

TEST_F(refused_prompt, is_larger_than_an_entry_can_tell)
{
    ASSERT_EQ(truncate((prompts.path + "/booting").c_str(), 0x1'0000'0001), 0);
    is_refused_with("warning: sound: Can not map /mnt/data/sound/booting into memory: File too large\n");
}
