// SPDX-License-Identifier: MIT
#include "ctl/ready.h"

struct ready_row {
    const char *what; // of a line by the cloud client
    const char *key;
    const char *value; // NULL: any
    bool readiness::*becomes_true;
};

// The daemon announces "set_properties" last of its own methods.
// clang-format off
static constexpr ready_row cloud_rows[] = {
    { "announced", "method", "set_properties",  &readiness::daemon_serves  },
    { "network",   "status", "cloud_connected", &readiness::network_up     },
    { "bound",     "before", nullptr,           &readiness::bound          },
    { "bound",     "before", "true",            &readiness::binding_stored },
};
// clang-format on

static void take_cloud(readiness &ready, json_object *entry)
{
    const std::string what = json_get_text(entry, "what");
    for (const ready_row &row : cloud_rows) {
        if (what == row.what && (row.value == nullptr || json_get_text(entry, row.key) == row.value))
            ready.*row.becomes_true = true;
    }
}

void ready_take(readiness &ready, json_object *entry)
{
    const std::string who = json_get_text(entry, "who");
    if (who == "cloud")
        take_cloud(ready, entry);
    else if (who == "store" && json_get_text(entry, "what") == "set" &&
             json_get_text(entry, "key") == "bind_status")
        ready.binding_stored = ready.binding_stored || json_get_text(entry, "value") == "ok";
}

bool ready_is_up(const readiness &ready)
{
    return ready_missing(ready).empty();
}

std::string ready_missing(const readiness &ready)
{
    if (!ready.daemon_serves)
        return "the daemon has not announced its methods";
    if (!ready.network_up)
        return "the cloud client has not reached the cloud";
    if (ready.wants_binding && !(ready.bound && ready.binding_stored))
        return "the daemon has not stored its binding";
    return "";
}
