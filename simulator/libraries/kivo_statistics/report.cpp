// SPDX-License-Identifier: MIT
// The collector of the virtual camera is its journal; without one a report is refused.
#pragma GCC visibility push(default)
#include "libkivo_statistics.h"
#pragma GCC visibility pop

#include "common/journal.h"
#include "common/run_folder.h"

int report_stat_object(const char *name, struct json_object *object)
{
    if (name == nullptr || object == nullptr)
        return -1;
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "name", json_object_new_string(name));
    json_object_object_add(fields, "object", json_object_get(object));
    return journal_write(run_folder_who(), "statistics", fields) ? 0 : -1;
}
