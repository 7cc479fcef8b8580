// SPDX-License-Identifier: MIT
// maps.h - the fixed tables of the spec property service: which service the cloud calls by another number,
// which store key reports as which property, and which properties are pulled. The property table
// (properties.h) is checked against them at compile time.
#pragma once

#include <cstdint>

struct spec_pair {
    uint32_t siid; // service
    uint32_t piid; // property within it

    bool operator==(const spec_pair &) const = default;
};

// A piid of 0 on both sides: every piid of the service.
struct spec_alias {
    spec_pair cloud;
    spec_pair local;
};

struct selvar_spec_row {
    const char *key;
    spec_pair local;
};

// clang-format off
inline constexpr spec_alias spec_map[] = {
    { { 7, 0 }, { 9, 0 } },
};

inline constexpr selvar_spec_row selvar_spec_map[] = {
    { "power",                          {  2,  1 } },
    { "flip",                           {  2,  2 } },
    { "night_mode",                     {  2,  3 } },
    { "watermark",                      {  2,  9 } },
    { "wdr",                            {  2,  5 } },
    { "full_color",                     {  2,  6 } },
    { "motion_record",                  {  2,  7 } },
    { "track_switch",                   {  2,  8 } },
    { "light",                          {  3,  1 } },
    { "sdcard_status",                  {  4,  1 } },
    { "sd_total",                       {  4,  2 } },
    { "sd_free",                        {  4,  3 } },
    { "sd_used",                        {  4,  4 } },
    { "motion_detection_enable",        {  5,  1 } },
    { "motion_alarm_interval",          {  5,  2 } },
    { "motion_region",                  {  5,  3 } },
    { "detection_start",                {  5,  4 } },
    { "detection_end",                  {  5,  5 } },
    { "human_detection_enable",         {  9,  1 } },
    { "report_motion_detection_switch", {  9,  2 } },
    { "loud_detection_enable",          {  9,  3 } },
    { "focus_area_name",                { 10,  1 } },
    { "focus_area_region",              { 10,  2 } },
    { "focus_clockin",                  { 10,  4 } },
    { "focus_area_in_time",             { 10,  6 } },
    { "focus_area_out_time",            { 10,  8 } },
    { "focus_scene",                    { 10,  9 } },
    { "focus_ai_light_switch",          {  7, 12 } }, // in the cloud's numbers, so no alias ever leads to it
    { "focus_time",                     { 10,  3 } },
    { "focus_collect_time",             { 10, 12 } },
    { "sound_alarm_name",               { 11,  1 } },
    { "sound_alarm_type",               { 11,  2 } },
    { "sound_alarm_enable",             { 11,  3 } },
};

inline constexpr spec_pair sync_spec[] = {
    { 5, 1 },
    { 5, 2 },
    { 5, 3 },
    { 5, 4 },
    { 5, 5 },
    { 2, 8 },
};
// clang-format on

// From the cloud's numbers to the daemon's, and back. A pair that has no alias is given back as it is.
void spec_map_lookup(uint32_t siid, uint32_t piid, uint32_t *local_siid, uint32_t *local_piid);
void spec_map_reverse_lookup(uint32_t siid, uint32_t piid, uint32_t *cloud_siid, uint32_t *cloud_piid);

// The pair that a key reports as; (0, 0) for a key that is not in selvar_spec_map.
spec_pair selvar_spec_find(const char *key);
