// SPDX-License-Identifier: MIT
#include "spec/changes.h"

#include "libkivo_util.h"
#include "spec/cells.h"
#include "spec/pull.h"
#include "spec/service.h"
#include "store/selvar_nvram.h"
#include "util/growing_text.h"
#include "util/reply.h"
#include "util/send_text.h"
#include "util/text.h"

int32_t last_card_status = -1;

// Part of the log texts, whatever lines the calls stand on now.
constexpr int null_line = 1015;
constexpr int unknown_line = 1262;

// A key by which another process starts something. Acts on one value and is then set to another.
struct control_key {
    const char *key;
    const char *start;
    void (*run)(int32_t id);
    int (*set)(const char *key, const char *value, int length);
    const char *done;
};

static void write_defaults(int32_t)
{
    set_default_param_to_spec_service();
}

static void pull(int32_t id)
{
    get_param_from_spec_service(id);
}

// clang-format off
static constexpr control_key control_keys[] = {
    { "flag_set_default_spec",     "start", write_defaults, selvar_nvram_set_string, "end" },
    { "flag_pull_spec_properties", "yes",   pull,           selvar_mem_set_string,   "no" },
};
// clang-format on

static const control_key *find_control(const char *key)
{
    for (const control_key &row : control_keys)
        if (text_equal(row.key, key))
            return &row;
    return nullptr;
}

static void run_control(const control_key &control, int32_t id, const char *value)
{
    if (!text_equal(value, control.start))
        return;
    control.run(id);
    control.set(control.key, control.done, 1);
}

void nubo_spec_handle_properties_changed(int32_t id, const char *key, const char *value)
{
    if (!key || !value) {
        log_err("[%s][%d]key or value is NULL!", __func__, null_line);
        return;
    }
    const spec_property *row = spec_property_of_key(key);
    if (row && row->report.filled) {
        row->report.run({ .id = id, .local = selvar_spec_find(key), .value = value });
        return;
    }
    const control_key *control = find_control(key);
    if (control)
        run_control(*control, id, value);
    else
        log_err("[%s][%d]unknown key : %s", __func__, unknown_line, key);
}

// A report under construction: its numbers as the cloud knows them. False: memory ran out.
using report_shape = bool(growing_text &report, int32_t id, spec_pair cloud, const char *value);

static bool shape_bare(growing_text &report, int32_t id, spec_pair cloud, const char *value)
{
    return growing_text_print(report,
                              "{\"id\" : %d,\"method\" : \"properties_changed\",\"params\" : [{\"did\" : "
                              "\"%.20s\",\"siid\" : %d,\"piid\" : %d,\"value\" : %s}]}",
                              id, spec_did, static_cast<int>(cloud.siid), static_cast<int>(cloud.piid),
                              value);
}

static bool shape_quoted(growing_text &report, int32_t id, spec_pair cloud, const char *value)
{
    return growing_text_print(report,
                              "{\"id\" : %d,\"method\" : \"properties_changed\",\"params\" : [{\"did\" : "
                              "\"%.20s\",\"siid\" : %d,\"piid\" : %d,\"value\" : \"%s\"}]}",
                              id, spec_did, static_cast<int>(cloud.siid), static_cast<int>(cloud.piid),
                              value);
}

static bool shape_number(growing_text &report, int32_t id, spec_pair cloud, const char *value)
{
    char number[12];
    snprintf(number, sizeof number, "%d", atoi(value));
    return shape_bare(report, id, cloud, number);
}

static bool shape_boolean(growing_text &report, int32_t id, spec_pair cloud, const char *value)
{
    return shape_bare(report, id, cloud, atoi(value) != 0 ? "true" : "false");
}

static bool shape_nothing(growing_text &report, int32_t, spec_pair, const char *)
{
    return growing_text_add(report, "");
}

static report_shape *shape_of(int type, report_shape *string_shape)
{
    switch (type) {
    case spec_string:
        return string_shape;
    case spec_integer:
        return shape_number;
    case spec_boolean:
        return shape_boolean;
    default:
        return shape_nothing;
    }
}

static int send_report(int32_t id, spec_pair local, report_shape *shape, const char *value)
{
    spec_pair cloud = {};
    spec_map_reverse_lookup(local.siid, local.piid, &cloud.siid, &cloud.piid);
    growing_text report;
    if (!shape(report, id, cloud, value))
        return reply_no_memory(__func__);
    log_debug("[nubo spec]properties changed <ack> %s", report.text.get());
    return send_text(spec_sock, report.text.get());
}

int spec_selvar_changed(int32_t id, uint32_t siid, uint32_t piid, int type, const char *value)
{
    return send_report(id, { siid, piid }, shape_of(type, shape_quoted), value);
}

int spec_selvar_changed_pair(int32_t id, uint32_t siid, uint32_t piid, int type, const char *value)
{
    return send_report(id, { siid, piid }, shape_of(type, shape_bare), value);
}
