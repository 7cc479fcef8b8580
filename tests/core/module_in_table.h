// SPDX-License-Identifier: MIT
// module_in_table.h - enters a test's own feature module into the table as long as it lives.
#pragma once

#include "modules/module.h"

inline struct module module_with_methods(const char *name, const module_method *methods, int count)
{
    struct module entry = {};
    entry.name = name;
    entry.methods = methods;
    entry.method_count = count;
    return entry;
}

struct module_in_table {
    explicit module_in_table(const struct module &entry)
    {
        module_table[0] = entry;
        module_count = 1;
    }
    ~module_in_table()
    {
        module_table[0] = {};
        module_count = 0;
    }
    module_in_table(const module_in_table &) = delete;
    module_in_table &operator=(const module_in_table &) = delete;
};
