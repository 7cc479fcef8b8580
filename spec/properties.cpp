// SPDX-License-Identifier: MIT
#include "spec/properties.h"

#include "spec/cells.h"

#include <iterator>
#include <string_view>

using enum spec_place;
using now = spec_snapshot;
static constexpr std::nullptr_t none = nullptr;

// clang-format off
//       siid piid name                   place    key                               method               absent          get                           set                     report              pull
static constexpr spec_property properties[] = {
    {  1,  1, "vendor",                nvram,   "vendor",                         none,                none,           get_text,                     none,                   none,               none },
    {  1,  2, "model",                 nvram,   "model",                          none,                none,           get_text,                     none,                   none,               none },
    {  1,  3, "device_id",             service, none,                             none,                none,           get_did,                      none,                   none,               none },
    {  1,  4, "firmware_version",      file,    none,                             none,                none,           get_version,                  none,                   none,               none },
    {  2,  1, "power",                 kit,     "power",                          "set_power",         none,           get_flag<&now::power>,        call_on_off,            report_on_off,      none },
    {  2,  2, "flip",                  kit,     "flip",                           "set_flip",          none,           get_flip,                     call_flip,              report_flip,        none },
    {  2,  3, "night_mode",            kit,     "night_mode",                     "set_night_mode",    none,           get_night_and_swap,           call_night_and_swap,    report_night,       none },
    {  2,  5, "wdr",                   kit,     "wdr",                            "set_wdr",           none,           get_flag<&now::wdr>,          call_on_off,            report_on_off,      none },
    {  2,  6, "full_color",            kit,     "full_color",                     "set_full_color",    none,           get_flag<&now::color>,        call_on_off,            report_on_off,      none },
    {  2,  7, "motion_record",         kit,     "motion_record",                  "set_motion_record", none,           get_field<&now::motion_record>, call_record_mode,     report_record_mode, none },
    // Read from kit like its neighbours, but no method of the daemon sets it.
    {  2,  8, "track_switch",          mem,     "track_switch",                   none,                none,           get_flag<&now::track_switch>, store_on_off,           report_on_off,      store_word_on_off },
    {  2,  9, "watermark",             kit,     "watermark",                      "set_watermark",     none,           get_flag<&now::watermark>,    call_on_off,            report_on_off,      none },
    {  3,  1, "light",                 kit,     "light",                          "set_light",         none,           get_flag<&now::light>,        call_on_off,            report_on_off,      none },
    {  4,  1, "sdcard_status",         kit,     "sdcard_status",                  none,                none,           get_field<&now::card_status>, none,                   report_card_status, none },
    // A change of these keys reports what df prints, not the value of the key.
    {  4,  2, "sd_total",              file,    "sd_total",                       none,                none,           get_sd_total,                 none,                   report_sd_total,    none },
    {  4,  3, "sd_free",               file,    "sd_free",                        none,                none,           get_sd_free,                  none,                   report_sd_free,     none },
    {  4,  4, "sd_used",               file,    "sd_used",                        none,                none,           get_sd_used,                  none,                   report_sd_used,     none },
    {  5,  1, "motion_detection",      nvram,   "motion_detection_enable",        none,                "off",          get_on_off,                   store_on_off,           report_on_off,      store_word_on_off },
    {  5,  2, "alarm_interval",        nvram,   "motion_alarm_interval",          none,                "5",            get_decimal,                  store_decimal,          report_number,      store_text },
    {  5,  3, "motion_region",         nvram,   "motion_region",                  none,                spec_region_on, get_region,                   store_region,           report_region,      store_digit_region },
    {  5,  4, "detection_start",       mem,     "detection_start",                none,                "00:00:00",     get_text,                     store_text,             report_text,        store_text },
    {  5,  5, "detection_end",         mem,     "detection_end",                  none,                "23:59:59",     get_text,                     store_text,             report_text,        store_text },
    {  9,  1, "human_detection",       nvram,   "human_detection_enable",         none,                "off",          get_on_off,                   store_on_off,           report_on_off,      none },
    {  9,  2, "motion_report_switch",  nvram,   "report_motion_detection_switch", none,                "off",          get_on_off,                   store_on_off,           report_on_off,      none },
    {  9,  3, "loud_detection",        nvram,   "loud_detection_enable",          none,                "off",          get_on_off,                   store_on_off,           report_on_off,      none },
    // In the cloud's numbers: what comes in as service 7 is looked for as 9, so only the report is ever reached.
    {  7, 12, "focus_ai_light_switch", mem,     "focus_ai_light_switch",          none,                none,           none,                         none,                   report_on_off,      store_word_on_off },
    { 10,  1, "focus_area_name",       mem,     "focus_area_name",                none,                "",             get_text,                     store_text,             report_text,        store_text },
    { 10,  2, "focus_area_region",     mem,     "focus_area_region",              none,                "{}",           get_json_string,              store_text,             report_json_string, store_text },
    { 10,  3, "focus_time",            mem,     "focus_time",                     none,                none,           get_json_string,              store_unlimited,        report_json_string, store_unlimited },
    { 10,  4, "focus_clockin",         mem,     "focus_clockin",                  none,                none,           none,                         none,                   report_json,        none },
    { 10,  6, "focus_area_in_time",    mem,     "focus_area_in_time",             none,                "0",            get_decimal,                  store_decimal3,         report_number,      store_decimal3_or_text },
    { 10,  8, "focus_area_out_time",   mem,     "focus_area_out_time",            none,                "0",            get_decimal,                  store_decimal3,         report_number,      store_decimal3_or_text },
    { 10,  9, "focus_scene",           mem,     "focus_scene",                    none,                none,           get_json_string,              store_text,             report_scene,       store_text },
    { 10, 10, "focus_quick_reply",     mem,     "focus_quick_reply",              none,                none,           none,                         store_unlimited,        none,               store_unlimited },
    // Not in selvar_spec_map: reported as (0, 0).
    { 10, 11, "human_in_area",         mem,     "human_in_area_state",            none,                "",             get_in,                       none,                   report_in,          none },
    { 10, 12, "focus_collect_time",    mem,     "focus_collect_time",             none,                "15",           get_decimal,                  store_decimal3_or_text, report_number,      store_decimal3_or_text },
    { 11,  1, "sound_alarm_name",      nvram,   "sound_alarm_name",               none,                " ",            get_text,                     store_text,             report_text,        none },
    { 11,  2, "sound_alarm_type",      nvram,   "sound_alarm_type",               none,                " ",            get_text,                     store_text,             report_text,        none },
    { 11,  3, "sound_alarm_enable",    nvram,   "sound_alarm_enable",             none,                "off",          get_on_off,                   store_on_off,           report_on_off,      none },
};

static constexpr spec_service spec_services[] = {
    {  1, 0, true,  none },
    {  2, 0, true,  none },
    {  3, 0, false, none }, // the light's service knows no refusal
    {  4, 0, true,  none },
    {  5, 0, true,  none },
    {  9, 0, true,  none },
    { 10, 0, true,  none },
    { 11, 0, true,  "OZU_SOUND_ALARM_SIID\n" },
    { 12, 1, false, none }, // it is there, but has nothing to show
    { 12, 0, true,  none },
};
// clang-format on

constinit const std::span<const spec_property> spec_properties(properties);

static constexpr const spec_property *find(spec_pair local)
{
    for (const spec_property &row : properties)
        if (row.siid == local.siid && row.piid == local.piid)
            return &row;
    return nullptr;
}

static constexpr const spec_property *find_key(std::string_view key)
{
    for (const spec_property &row : properties)
        if (row.key && key == row.key)
            return &row;
    return nullptr;
}

const spec_property *spec_property_find(spec_pair local)
{
    return find(local);
}

const spec_property *spec_property_of_key(const char *key)
{
    return find_key(key);
}

const spec_service *spec_service_find(spec_pair local)
{
    for (const spec_service &row : spec_services)
        if (row.siid == local.siid && (row.piid == 0 || row.piid == local.piid))
            return &row;
    return nullptr;
}

// The tables agree, or nothing is built.

static constexpr bool pairs_and_keys_are_unique()
{
    for (const spec_property &row : properties)
        if (find({ row.siid, row.piid }) != &row || (row.key && find_key(row.key) != &row))
            return false;
    return true;
}
static_assert(pairs_and_keys_are_unique());

static constexpr bool mapped_keys_report_as_their_row()
{
    for (const selvar_spec_row &mapped : selvar_spec_map) {
        const spec_property *row = find_key(mapped.key);
        if (!row || row != find(mapped.local) || !row->report.filled)
            return false;
    }
    return true;
}
static_assert(mapped_keys_report_as_their_row());

static constexpr size_t rows_that_report()
{
    size_t count = 0;
    for (const spec_property &row : properties)
        count += row.report.filled ? 1 : 0;
    return count;
}
static_assert(rows_that_report() == std::size(selvar_spec_map) + 1, "all are mapped but human_in_area_state");

static constexpr bool what_is_pulled_can_be_stored()
{
    for (const spec_pair &asked : sync_spec)
        if (!find(asked) || !find(asked)->pull.filled)
            return false;
    return true;
}
static_assert(what_is_pulled_can_be_stored());

static constexpr bool is_in_store(const spec_property &row)
{
    return row.place == nvram || row.place == mem;
}

static constexpr bool rows_have_what_their_cells_need()
{
    for (const spec_property &row : properties) {
        bool calls = row.place == kit && row.set.filled;
        bool stores = (row.set.filled && !calls) || row.pull.filled;
        bool needs_key = row.report.filled || is_in_store(row);
        if (calls != (row.method != nullptr) || (stores && !is_in_store(row)) || (needs_key && !row.key))
            return false;
    }
    return true;
}
static_assert(rows_have_what_their_cells_need());
