// SPDX-License-Identifier: MIT
#include "handlers/statistics.h"

#include "core/kit.h"
#include "libkivo_statistics.h"
#include "libkivo_util.h"
#include "util/guards.h"
#include "util/reply.h"

#include <sys/sysinfo.h>

#include <cstdio>

static const char restart_list_path[] = "/etc/perp/.control/reset-statistics";

constexpr double load_scale = 65536.0;
constexpr size_t service_name_size = 64;

static int report(const char *name, json_object *object)
{
    const char *text = json_object_to_json_string_ext(object, reply_compact);
    if (!text)
        return reply_no_memory(__func__);
    log_info("report_stat_object: %s\n", text);
    report_stat_object(name, object);
    kit.stat_report_time = time_monotonic();
    return 0;
}

int report_stat(int type)
{
    json_ptr object(json_object_new_object());
    if (!object || !json_add(object.get(), "type", json_ptr(json_object_new_int(type))))
        return reply_no_memory(__func__);
    return report("camwarden.info", object.get());
}

int report_ircut(void)
{
    json_ptr object(json_object_new_object());
    if (!object || !json_add(object.get(), "type", json_ptr(json_object_new_int(kit.night))) ||
        !json_add(object.get(), "count", json_ptr(json_object_new_int(kit.night_count))))
        return reply_no_memory(__func__);
    return report("ircut.info", object.get());
}

static bool add_loads(json_object *object, const struct sysinfo &system)
{
    json_ptr loads(json_object_new_array());
    if (!loads)
        return false;
    for (unsigned long load : system.loads) {
        json_ptr number(json_object_new_double(static_cast<double>(load) / load_scale));
        if (!number || json_object_array_add(loads.get(), number.get()) != 0)
            return false;
        static_cast<void>(number.release());
    }
    return json_add(object, "loads", std::move(loads));
}

static bool add_figure(json_object *object, const char *key, auto figure)
{
    return json_add(object, key, json_ptr(json_object_new_int64(static_cast<int64_t>(figure))));
}

static bool add_figures(json_object *object, const struct sysinfo &system)
{
    return add_figure(object, "uptime", system.uptime) && add_loads(object, system) &&
           add_figure(object, "freeram", system.freeram) &&
           add_figure(object, "sharedram", system.sharedram) &&
           add_figure(object, "bufferram", system.bufferram);
}

// Lines of a service's name and a number, up to the first that is not.
static bool add_services(json_object *services, FILE *list)
{
    for (;;) {
        char name[service_name_size] = {};
        int counter = 0;
        if (fscanf(list, "%63s %d", name, &counter) != 2)
            return true;
        log_info("service_name:%s counter:%d\n", name, counter);
        if (name[0] != '\0' && !json_add(services, name, json_ptr(json_object_new_int(counter))))
            return false;
    }
}

static bool add_restarts(json_object *object, FILE *list)
{
    json_ptr services(json_object_new_object());
    if (!services || !add_services(services.get(), list))
        return false;
    const char *text = json_object_to_json_string_ext(services.get(), reply_compact);
    if (!text)
        return false;
    log_info("service_object: %s\n", text);
    return json_object_object_length(services.get()) == 0 || json_add(object, "reset", std::move(services));
}

// The list is removed once it has been read, so that each restart is reported once.
static bool take_restarts(json_object *object)
{
    FILE *list = fopen(restart_list_path, "re");
    if (!list) {
        log_warning("perp_reset file don't exist!\n");
        return true;
    }
    bool added = add_restarts(object, list);
    fclose(list);
    if (added)
        remove(restart_list_path);
    return added;
}

int report_system(void)
{
    struct sysinfo system = {};
    if (sysinfo(&system) != 0) {
        log_err("sysinfo() return failed!\n");
        return -1;
    }
    json_ptr object(json_object_new_object());
    if (!object || !add_figures(object.get(), system) || !take_restarts(object.get()))
        return reply_no_memory(__func__);
    return report("system.info", object.get());
}
