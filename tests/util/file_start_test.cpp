// SPDX-License-Identifier: MIT
// The beginning of a small file.
#include "util/file_start.h"

#include "fakes/fixed_files.h"

#include <gtest/gtest.h>

static const char path[] = "/tmp/sdtotal";

struct file_beginning : testing::Test {
    file_beginning()
    {
        fixed_files_reset();
    }

    char text[8] = "before";
};

TEST_F(file_beginning, is_read_whole_when_it_fits)
{
    fixed_files.content[path] = "1234567";
    EXPECT_TRUE(file_start(path, text, sizeof(text)));
    EXPECT_STREQ(text, "1234567");
}

TEST_F(file_beginning, is_cut_to_what_fits)
{
    fixed_files.content[path] = "123456789";
    EXPECT_TRUE(file_start(path, text, sizeof(text)));
    EXPECT_STREQ(text, "1234567");
}

TEST_F(file_beginning, of_an_empty_file_is_empty)
{
    fixed_files.content[path] = "";
    EXPECT_TRUE(file_start(path, text, sizeof(text)));
    EXPECT_STREQ(text, "");
}

TEST_F(file_beginning, of_an_absent_file_is_empty_and_a_failure)
{
    EXPECT_FALSE(file_start(path, text, sizeof(text)));
    EXPECT_STREQ(text, "");
}

TEST_F(file_beginning, of_a_folder_is_empty)
{
    EXPECT_TRUE(file_start("/", text, sizeof(text)));
    EXPECT_STREQ(text, "");
}

TEST_F(file_beginning, leaves_no_descriptor)
{
    fixed_files.content[path] = "1";
    int before = open_descriptors();
    file_start(path, text, sizeof(text));
    file_start("/", text, sizeof(text));
    EXPECT_EQ(open_descriptors(), before);
}
