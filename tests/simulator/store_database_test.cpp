// SPDX-License-Identifier: MIT
// The nvram on the disk: what is written stays, what was damaged is set aside.
#include "store/database.h"

#include "store_process.h"

#include <fstream>
#include <sqlite3.h>
#include <sys/stat.h>

static const key_map factory = { { "power", { wire_type::text, "on" } },
                                 { "language", { wire_type::text, "en" } } };

// What an opening gave.
struct opened {
    database_start start;
    key_map values;
    std::string text;
};

static std::string file(void)
{
    return desk_path("nvram");
}

static opened open_database(void)
{
    opened result = {};
    result.start = database_open(file(), factory, result.values, result.text);
    return result;
}

static bool exists(const std::string &path)
{
    return access(path.c_str(), F_OK) == 0;
}

static void write_file(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A file that was used and closed in order.
static void make_used_database(void)
{
    EXPECT_EQ(open_database().start, database_start::created);
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(database_set("key" + std::to_string(i), { wire_type::text, std::string(100, 'v') }));
    database_close();
}

static void expect_replaced(const opened &result, const std::string &reason)
{
    EXPECT_EQ(result.start, database_start::replaced);
    EXPECT_EQ(result.text, "the nvram database was damaged (" + reason + "): it was set aside as " + file() +
                               ".damaged-1, and the camera starts from the factory defaults");
    EXPECT_EQ(result.values.size(), factory.size());
    EXPECT_EQ(result.values.at("power").text, "on");
    database_close();
    const opened again = open_database();
    EXPECT_EQ(again.start, database_start::opened);
    EXPECT_EQ(again.values.size(), factory.size());
    database_close();
}

STORY(store_database, a_new_one_holds_the_factory_defaults)
{
    const opened result = open_database();
    EXPECT_EQ(result.start, database_start::created);
    EXPECT_EQ(result.values.size(), 2U);
    EXPECT_EQ(result.values.at("power").text, "on");
    database_close();
}

STORY(store_database, what_was_set_is_there_the_next_time)
{
    const std::string bytes("a\0b\xff\x80\n", 6);
    open_database();
    ASSERT_TRUE(database_set("power", { wire_type::text, "off" }));
    ASSERT_TRUE(database_set("number", { wire_type::number, "18446744073709551615" }));
    ASSERT_TRUE(database_set("bytes", { wire_type::text, bytes }));
    ASSERT_TRUE(database_set("empty", { wire_type::text, "" }));
    ASSERT_TRUE(database_unset("language"));
    database_close();
    const opened result = open_database();
    EXPECT_EQ(result.start, database_start::opened);
    EXPECT_EQ(result.values.size(), 4U);
    EXPECT_EQ(result.values.at("power").text, "off");
    EXPECT_EQ(result.values.at("number").text, "18446744073709551615");
    EXPECT_EQ(result.values.at("number").type, wire_type::number);
    EXPECT_EQ(result.values.at("bytes").text, bytes);
    EXPECT_EQ(result.values.at("empty").text, "");
    database_close();
}

STORY(store_database, a_replacement_leaves_nothing_of_what_was_there)
{
    open_database();
    ASSERT_TRUE(database_set("bind_status", { wire_type::text, "ok" }));
    ASSERT_TRUE(database_replace(factory));
    database_close();
    const opened result = open_database();
    EXPECT_EQ(result.values.size(), factory.size());
    EXPECT_EQ(result.values.count("bind_status"), 0U);
    database_close();
}

STORY(store_database, after_a_sync_the_file_alone_holds_everything)
{
    open_database();
    ASSERT_TRUE(database_set("power", { wire_type::text, "off" }));
    ASSERT_TRUE(database_sync());
    const std::string bytes = desk_file(file());
    database_close();
    write_file(file(), bytes);
    unlink((file() + "-wal").c_str());
    const opened result = open_database();
    EXPECT_EQ(result.start, database_start::opened);
    EXPECT_EQ(result.values.at("power").text, "off");
    database_close();
}

STORY(store_database, garbage_is_set_aside_as_it_is)
{
    const std::string garbage(10000, 'g');
    write_file(file(), garbage);
    expect_replaced(open_database(), "file is not a database");
    EXPECT_EQ(desk_file(file() + ".damaged-1"), garbage);
}

STORY(store_database, an_empty_file_is_set_aside)
{
    write_file(file(), "");
    expect_replaced(open_database(), "it is empty");
    EXPECT_TRUE(exists(file() + ".damaged-1"));
}

STORY(store_database, a_truncated_one_is_set_aside)
{
    make_used_database();
    const std::string bytes = desk_file(file());
    ASSERT_GT(bytes.size(), 16384U);
    write_file(file(), bytes.substr(0, bytes.size() / 2));
    expect_replaced(open_database(), "database disk image is malformed");
}

STORY(store_database, one_cut_inside_its_head_is_set_aside)
{
    make_used_database();
    write_file(file(), desk_file(file()).substr(0, 60));
    expect_replaced(open_database(), "database disk image is malformed");
}

STORY(store_database, one_with_an_overwritten_page_is_set_aside)
{
    make_used_database();
    std::string bytes = desk_file(file());
    bytes.replace(8192, 4096, 4096, 'x');
    write_file(file(), bytes);
    expect_replaced(open_database(), "database disk image is malformed");
}

STORY(store_database, one_whose_values_can_be_read_but_whose_pages_do_not_add_up_is_set_aside)
{
    make_used_database();
    std::string bytes = desk_file(file());
    bytes[39] = static_cast<char>(bytes[39] + 5); // the number of free pages in the file's head
    write_file(file(), bytes);
    expect_replaced(open_database(), "database disk image is malformed");
}

// Another program's file, whatever the statement makes of it.
static void make_database_with(const char *sql)
{
    sqlite3 *other = nullptr;
    EXPECT_EQ(sqlite3_open(file().c_str(), &other), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
}

STORY(store_database, somebody_elses_is_set_aside)
{
    make_database_with("CREATE TABLE recipes (name TEXT)");
    expect_replaced(open_database(), "it holds no nvram");
}

STORY(store_database, one_with_a_value_of_no_known_type_is_set_aside)
{
    make_used_database();
    make_database_with("UPDATE nvram SET type = 9 WHERE key = 'power'");
    expect_replaced(open_database(), "database disk image is malformed");
}

STORY(store_database, a_folder_in_its_place_is_set_aside)
{
    ASSERT_EQ(mkdir(file().c_str(), 0700), 0);
    expect_replaced(open_database(), "unable to open database file");
}

STORY(store_database, each_damaged_one_gets_a_name_of_its_own)
{
    for (int number = 1; number <= 3; ++number) {
        write_file(file(), "garbage " + std::to_string(number));
        EXPECT_EQ(open_database().start, database_start::replaced);
        database_close();
        EXPECT_EQ(desk_file(file() + ".damaged-" + std::to_string(number)),
                  "garbage " + std::to_string(number));
    }
}

STORY(store_database, the_log_of_one_that_was_removed_does_not_reach_the_next)
{
    open_database();
    ASSERT_TRUE(database_set("power", { wire_type::text, "off" }));
    const std::string log = desk_file(file() + "-wal");
    ASSERT_FALSE(log.empty());
    database_close();
    unlink(file().c_str());
    write_file(file() + "-wal", log);
    const opened result = open_database();
    EXPECT_EQ(result.start, database_start::created);
    EXPECT_EQ(result.values.at("power").text, "on");
    database_close();
}

STORY(store_database, one_that_was_never_finished_is_not_taken_for_the_camera_s)
{
    write_file(file() + ".new", "half a database");
    EXPECT_EQ(open_database().start, database_start::created);
    database_close();
    EXPECT_FALSE(exists(file() + ".new"));
}

STORY(store_database, one_that_is_in_use_is_left_alone)
{
    store_process store = store_start();
    const opened result = open_database();
    EXPECT_EQ(result.start, database_start::failed);
    EXPECT_EQ(result.text, "the database " + file() + " is in use by another store, stop that one first");
    EXPECT_FALSE(exists(file() + ".damaged-1"));
    store_end(store, SIGKILL);
    EXPECT_EQ(open_database().start, database_start::opened);
    database_close();
}

STORY(store_database, a_folder_that_is_not_there_is_told)
{
    key_map values;
    std::string text;
    const std::string nowhere = desk_path("nowhere/nvram");
    EXPECT_EQ(database_open(nowhere, factory, values, text), database_start::failed);
    EXPECT_EQ(text, "the database " + nowhere +
                        " cannot be made, see that its folder exists, is yours and has room");
}
