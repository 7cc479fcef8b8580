// SPDX-License-Identifier: MIT
#include "ctl/ready.h"

// The daemon announces it last of its own methods.
static constexpr char last_method[] = "set_properties";

static void on_announced(readiness &ready, json_object *entry)
{
    if (json_get_text(entry, "method") == last_method)
        ready.daemon_serves = true;
}

static void on_network(readiness &ready, json_object *entry)
{
    ready.network_up = json_get_text(entry, "status") == "cloud_connected";
}

static void on_bound(readiness &ready, json_object *entry)
{
    ready.bound = true;
    ready.binding_stored = json_get_bool(entry, "before");
    // A camera that is only now bound says "normal" once more.
    ready.settled = ready.settled && ready.binding_stored;
}

static void on_set(readiness &ready, json_object *entry)
{
    const std::string key = json_get_text(entry, "key");
    const std::string value = json_get_text(entry, "value");
    if (key == "bind_status")
        ready.binding_stored = value == "ok";
    if (key == "dev_status" && value == "normal")
        ready.settled = ready.network_up && (!ready.bound || ready.binding_stored);
}

static void on_damaged(readiness &ready, json_object *entry)
{
    ready.damaged = json_get_text(entry, "text");
}

struct ready_row {
    const char *who;
    const char *what;
    void (*take)(readiness &ready, json_object *entry);
};

// clang-format off
static constexpr ready_row rows[] = {
    { "cloud", "announced", on_announced },
    { "cloud", "network",   on_network   },
    { "cloud", "bound",     on_bound     },
    { "store", "set",       on_set       },
    { "store", "damaged",   on_damaged   },
};
// clang-format on

void ready_take(readiness &ready, json_object *entry)
{
    const std::string who = json_get_text(entry, "who");
    const std::string what = json_get_text(entry, "what");
    for (const ready_row &row : rows) {
        if (who == row.who && what == row.what)
            row.take(ready, entry);
    }
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
    if (!ready.settled)
        return "the daemon has not taken notice of the network";
    return "";
}
