// SPDX-License-Identifier: MIT
#include "harness.h"

#include "common/clock.h"
#include "common/clock_owner.h"
#include "common/page.h"
#include "common/run_folder.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

STORY(run_folder, files_are_in_the_folder_that_the_environment_names)
{
    setenv("CAMERA_RUN", "/tmp/somewhere", 1);
    EXPECT_EQ(run_folder_path("control"), "/tmp/somewhere/control");
    unsetenv("CAMERA_RUN");
    EXPECT_EQ(run_folder_path("control"), "/run/camera/control");
    setenv("CAMERA_RUN", "", 1);
    EXPECT_EQ(run_folder_path("control"), "/run/camera/control");
}

STORY(run_folder, a_writer_is_called_as_the_environment_says_or_as_its_program)
{
    EXPECT_STREQ(run_folder_who(), "daemon");
    unsetenv("CAMERA_WHO");
    EXPECT_STREQ(run_folder_who(), "common_page_test");
}

STORY(page, without_one_there_is_none)
{
    EXPECT_EQ(page_open(), nullptr);
}

STORY(page, a_process_that_found_none_never_changes_its_clock)
{
    EXPECT_EQ(page_open(), nullptr);
    EXPECT_EQ(desk_in_process([] { EXPECT_NE(page_create(), nullptr); }), 0);
    EXPECT_EQ(page_open(), nullptr);
}

STORY(page, other_processes_see_the_same)
{
    EXPECT_EQ(desk_in_process([] {
                  ASSERT_NE(page_create(), nullptr);
                  clock_owner_set_speed({ 0, 1 });
                  clock_owner_step_to_ns(INT64_C(5000000000));
              }),
              0);
    ASSERT_NE(page_open(), nullptr);
    EXPECT_EQ(clock_monotonic_ns(), INT64_C(5000000000));
}

STORY(page, a_new_one_begins_anew_and_leaves_the_old_one_to_its_users)
{
    desk_page();
    desk_clock_step(5000);
    EXPECT_EQ(desk_in_process([] {
                  ASSERT_NE(page_create(), nullptr);
                  clock_owner_set_speed({ 0, 1 });
                  EXPECT_LT(desk_clock_ms(), 5000);
                  desk_clock_step(70000);
              }),
              0);
    EXPECT_EQ(desk_clock_ms(), 5000);
}

STORY(page, it_cannot_be_made_where_there_is_no_folder)
{
    setenv("CAMERA_RUN", "/tmp/no/such/folder", 1);
    errno = 0;
    EXPECT_EQ(page_create(), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

STORY(page, what_cannot_be_put_in_its_place_leaves_nothing_behind)
{
    std::filesystem::create_directory(desk_path("page"));
    EXPECT_EQ(page_create(), nullptr);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(std::filesystem::exists(desk_path("page.new")));
}

// The file "page" as another build might have left it.
static void expect_refused(const std::string &bytes)
{
    std::ofstream(desk_path("page"), std::ios::binary) << bytes;
    EXPECT_EQ(desk_in_process([] {
                  desk_catch_stderr();
                  EXPECT_EQ(page_open(), nullptr);
                  EXPECT_EQ(page_open(), nullptr);
              }),
              0);
    const std::string said = desk_stderr();
    EXPECT_NE(
        said.find("/page was made by another build and is not used; stop the camera and run it again.\n"),
        std::string::npos);
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << "one sentence, once";
    std::filesystem::remove(desk_path("stderr"));
}

STORY(page, one_of_another_build_is_refused_in_one_sentence)
{
    ASSERT_EQ(desk_in_process([] { EXPECT_NE(page_create(), nullptr); }), 0);
    const std::string good = desk_file(desk_path("page"));
    ASSERT_EQ(good.size(), sizeof(run_page));
    std::string other_magic = good;
    other_magic[offsetof(run_page, magic)] ^= 1;
    std::string other_version = good;
    other_version[offsetof(run_page, version)] ^= 1;
    expect_refused(other_magic);
    expect_refused(other_version);
    expect_refused(good + "x");
    expect_refused(good.substr(1));
    expect_refused("");
}

STORY(page, opening_it_leaves_errno_alone)
{
    errno = EXDEV;
    EXPECT_EQ(page_open(), nullptr);
    EXPECT_EQ(errno, EXDEV);
}

STORY(page, several_threads_may_open_it_at_once)
{
    ASSERT_EQ(desk_in_process([] { EXPECT_NE(page_create(), nullptr); }), 0);
    run_page *pages[2] = {};
    std::thread one([&pages] { pages[0] = page_open(); });
    std::thread other([&pages] { pages[1] = page_open(); });
    one.join();
    other.join();
    EXPECT_NE(pages[0], nullptr);
    EXPECT_EQ(pages[0], pages[1]);
    EXPECT_EQ(pages[0], page_open());
}

STORY(page, the_journals_lock_outlives_its_owners_death)
{
    desk_page();
    const int status = desk_in_process([] {
        EXPECT_TRUE(page_lock_journal(page_open()));
        raise(SIGKILL);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(page_lock_journal(page_open()));
        page_unlock_journal(page_open());
    }
}
