// SPDX-License-Identifier: MIT
// note NAME [ARGUMENT...] - writes the journal's line of a program that was run, for scripts.
#include "common/journal.h"
#include "common/json.h"

#include <cstdio>

int main(int count, char **arguments)
{
    if (count < 2) {
        fprintf(stderr, "note: tell me the name of what was run\n");
        return 2;
    }
    json_object *all = json_object_new_array();
    for (int i = 2; i < count; i++)
        json_object_array_add(all, json_new_text(arguments[i]));
    json_ptr fields = json_of("name", arguments[1]);
    json_object_object_add(fields.get(), "arguments", all);
    if (journal_write("script", "run", fields.release()))
        return 0;
    fprintf(stderr, "note: the journal cannot be written\n");
    return 1;
}
