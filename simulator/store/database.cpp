// SPDX-License-Identifier: MIT
#include "store/database.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

// WAL with synchronous=NORMAL hands every commit to the kernel before it returns, and to the disk at a
// checkpoint. The exclusive lock keeps a second store away from the file.
static const char open_pragmas[] = "PRAGMA locking_mode=EXCLUSIVE;"
                                   "PRAGMA journal_mode=WAL;"
                                   "PRAGMA synchronous=NORMAL;";
static const char create_table[] =
    "CREATE TABLE nvram (key TEXT PRIMARY KEY, type INTEGER NOT NULL, value TEXT NOT NULL) WITHOUT ROWID;"
    "PRAGMA user_version=1;";
static const char set_text[] = "INSERT INTO nvram (key, type, value) VALUES (?1, ?2, ?3) "
                               "ON CONFLICT (key) DO UPDATE SET type = ?2, value = ?3";
static const char unset_text[] = "DELETE FROM nvram WHERE key = ?1";

static struct {
    std::string file;
    sqlite3 *handle = nullptr;
    sqlite3_stmt *set = nullptr;
    sqlite3_stmt *unset = nullptr;
    std::string trouble; // the last one, empty after a change that was written
} database;

// Says the same only once until a change succeeds: a full disk refuses one after the other.
static bool complain(const std::string &what)
{
    const std::string trouble = what + ": " + sqlite3_errmsg(database.handle);
    if (trouble != database.trouble)
        fprintf(stderr, "store: %s: %s\n", database.file.c_str(), trouble.c_str());
    database.trouble = trouble;
    return false;
}

static bool run(const char *sql)
{
    return sqlite3_exec(database.handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

static int folder_sync(const std::string &file)
{
    const size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const int result = fsync(fd);
    close(fd);
    return result;
}

static bool open_handle(const std::string &file)
{
    database.file = file;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    return sqlite3_open_v2(file.c_str(), &database.handle, flags, nullptr) == SQLITE_OK && run(open_pragmas);
}

static bool prepare()
{
    return sqlite3_prepare_v3(database.handle, set_text, -1, SQLITE_PREPARE_PERSISTENT, &database.set,
                              nullptr) == SQLITE_OK &&
           sqlite3_prepare_v3(database.handle, unset_text, -1, SQLITE_PREPARE_PERSISTENT, &database.unset,
                              nullptr) == SQLITE_OK;
}

void database_close()
{
    sqlite3_finalize(database.set);
    sqlite3_finalize(database.unset);
    sqlite3_close(database.handle);
    database = {};
}

static bool bind(sqlite3_stmt *statement, int place, const std::string &text)
{
    return sqlite3_bind_text(statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC) ==
           SQLITE_OK;
}

static bool finish(sqlite3_stmt *statement, bool bound)
{
    const bool done = bound && sqlite3_step(statement) == SQLITE_DONE;
    if (done)
        database.trouble.clear();
    else
        complain("a change was not written");
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return done;
}

bool database_set(const std::string &key, const wire_value &value)
{
    const bool bound = bind(database.set, 1, key) &&
                       sqlite3_bind_int(database.set, 2, static_cast<int>(value.type)) == SQLITE_OK &&
                       bind(database.set, 3, value.text);
    return finish(database.set, bound);
}

bool database_unset(const std::string &key)
{
    return finish(database.unset, bind(database.unset, 1, key));
}

static bool set_all(const key_map &values)
{
    for (const auto &[key, value] : values)
        if (!database_set(key, value))
            return false;
    return true;
}

bool database_replace(const key_map &values)
{
    if (!run("BEGIN"))
        return complain("a reset could not begin");
    if (run("DELETE FROM nvram") && set_all(values) && run("COMMIT"))
        return true;
    complain("a reset was not written");
    run("ROLLBACK");
    return false;
}

bool database_sync()
{
    if (sqlite3_wal_checkpoint_v2(database.handle, nullptr, SQLITE_CHECKPOINT_FULL, nullptr, nullptr) !=
        SQLITE_OK)
        return complain("a sync failed");
    if (folder_sync(database.file) != 0)
        return complain("the folder was not synced");
    return true;
}

// What SQLite may keep beside a database.
static const char *const companions[] = { "-wal", "-shm", "-journal" };

static void remove_companions(const std::string &file)
{
    for (const char *ending : companions)
        unlink((file + ending).c_str());
}

// Fills a new database under another name and then gives it its own.
static bool create(const std::string &file, const key_map &defaults)
{
    const std::string unfinished = file + ".new";
    unlink(unfinished.c_str());
    remove_companions(unfinished);
    remove_companions(file); // a log that an older database left would be played into the new one
    const bool filled = open_handle(unfinished) && run(create_table) && prepare() &&
                        database_replace(defaults) && database_sync();
    if (!filled)
        complain("the database could not be made");
    database_close();
    return filled && rename(unfinished.c_str(), file.c_str()) == 0 && folder_sync(file) == 0;
}

static std::string text_at(sqlite3_stmt *row, int column)
{
    const void *bytes = sqlite3_column_text(row, column);
    if (!bytes)
        return {};
    return { static_cast<const char *>(bytes), static_cast<size_t>(sqlite3_column_bytes(row, column)) };
}

static int read_all(key_map &values)
{
    sqlite3_stmt *rows = nullptr;
    int result =
        sqlite3_prepare_v2(database.handle, "SELECT key, type, value FROM nvram", -1, &rows, nullptr);
    while (result == SQLITE_OK && sqlite3_step(rows) == SQLITE_ROW) {
        const wire_value value = { static_cast<wire_type>(sqlite3_column_int(rows, 1)), text_at(rows, 2) };
        if (!wire_value_is_sound(value))
            result = SQLITE_CORRUPT;
        values[text_at(rows, 0)] = value;
    }
    const int finished = sqlite3_finalize(rows); // of the last step
    return result == SQLITE_OK ? finished : result;
}

static bool check_is_good()
{
    sqlite3_stmt *check = nullptr;
    bool good = false;
    if (sqlite3_prepare_v2(database.handle, "PRAGMA quick_check(1)", -1, &check, nullptr) == SQLITE_OK &&
        sqlite3_step(check) == SQLITE_ROW)
        good = text_at(check, 0) == "ok";
    sqlite3_finalize(check);
    return good;
}

static bool is_empty(const std::string &file)
{
    struct stat status;
    return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

// Opens what stands and checks it. On failure the reason is in text and the result is SQLite's.
static int open_standing(const std::string &file, key_map &values, std::string &text)
{
    values.clear();
    if (is_empty(file)) {
        text = "it is empty";
        return SQLITE_CORRUPT;
    }
    int result = SQLITE_OK;
    if (!open_handle(file) || !prepare())
        result = sqlite3_errcode(database.handle);
    else if (!check_is_good())
        result = SQLITE_CORRUPT;
    else
        result = read_all(values);
    if (result != SQLITE_OK) {
        text = result == SQLITE_ERROR ? "it holds no nvram" : sqlite3_errstr(result);
        database_close();
    }
    return result;
}

// Nothing is wrong with the file itself.
static bool is_circumstance(int result)
{
    return result == SQLITE_BUSY || result == SQLITE_LOCKED || result == SQLITE_FULL ||
           result == SQLITE_NOMEM || result == SQLITE_READONLY || result == SQLITE_PERM;
}

static std::string set_aside(const std::string &file)
{
    std::string other;
    for (int number = 1; other.empty() || access(other.c_str(), F_OK) == 0; ++number)
        other = file + ".damaged-" + std::to_string(number);
    if (rename(file.c_str(), other.c_str()) != 0)
        return {};
    for (const char *ending : companions)
        rename((file + ending).c_str(), (other + ending).c_str());
    return other;
}

static bool open_new(const std::string &file, const key_map &defaults, key_map &values)
{
    std::string reason; // already on stderr
    return create(file, defaults) && open_standing(file, values, reason) == SQLITE_OK;
}

// What is to be done about a file that stands and could not be opened; the sentence.
static std::string advice(const std::string &file, int result, const std::string &reason)
{
    if (result == SQLITE_BUSY)
        return "the database " + file + " is in use by another store, stop that one first";
    return "the database " + file + " cannot be used (" + reason +
           "), see that it is yours and the disk has room";
}

static std::string cannot_be_made(const std::string &file)
{
    return "the database " + file + " cannot be made, see that its folder exists, is yours and has room";
}

database_start database_open(const std::string &file, const key_map &defaults, key_map &values,
                             std::string &text)
{
    if (access(file.c_str(), F_OK) != 0) {
        text = cannot_be_made(file);
        return open_new(file, defaults, values) ? database_start::created : database_start::failed;
    }

    std::string reason;
    const int result = open_standing(file, values, reason);
    if (result == SQLITE_OK)
        return database_start::opened;
    const std::string aside = is_circumstance(result) ? std::string() : set_aside(file);
    if (aside.empty()) {
        text = advice(file, result, reason);
        return database_start::failed;
    }
    text = "the nvram database was damaged (" + reason + "): it was set aside as " + aside +
           ", and the camera starts from the factory defaults";
    if (open_new(file, defaults, values))
        return database_start::replaced;
    text = cannot_be_made(file) + "; the damaged one was set aside as " + aside;
    return database_start::failed;
}
