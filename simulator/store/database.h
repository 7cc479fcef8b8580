// SPDX-License-Identifier: MIT
// database.h - the nvram of a camera as a SQLite file.
//
// Every change is one transaction: when the call returns it outlives the death of any process, and a value is
// never half written; after database_sync it also outlives a power cut. The file appears under its name only
// when it is complete, so one that cannot be read was damaged. Its only user is the store: it holds the file
// locked.
#pragma once

#include "store/defaults.h"

#include <string>

enum class database_start {
    opened,
    created,  // there was none: it holds the factory defaults
    replaced, // a damaged one was set aside, now as created; text is a sentence for the journal
    failed    // text is a sentence that says what to do
};

// Opens file and reads all that it holds into values.
database_start database_open(const std::string &file, const key_map &defaults, key_map &values,
                             std::string &text);
void database_close();

// False: nothing was changed; the reason goes to stderr.
bool database_set(const std::string &key, const wire_value &value);
bool database_unset(const std::string &key);
bool database_replace(const key_map &values); // everything
bool database_sync();
