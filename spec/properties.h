// SPDX-License-Identifier: MIT
// properties.h - the property table: one row for each property that the cloud knows of this camera, and what
// reading it, setting it, a change of its store key and a pulled value do. Main thread only.
//
// A new property is a new row here, and one in selvar_spec_map (maps.h) when its key's changes are reported.
// An empty cell means, a column each:
//   get     answered like a property that its service does not have (spec_services)
//   set     acknowledged and skipped
//   report  the key's changes are logged as unknown
//   pull    skipped
#pragma once

#include "spec/maps.h"

#include <cstddef>
#include <span>

// Where the value is read, and for the two spaces of the store also where it is written.
enum class spec_place {
    service, // the service's own state
    file,    // a file or the file system
    kit,     // the snapshot of kit; set by a call of the row's method
    nvram,
    mem
};

struct spec_get;
struct spec_request;
struct spec_change;
struct spec_property;

using spec_get_cell = void(const spec_property &row, spec_get &get);
using spec_write_cell = void(const spec_property &row, spec_request &request);
using spec_report_cell = void(const spec_change &change);

// A function or nothing. Not a plain pointer: with a sanitizer the compiler does not compare one with NULL
// while it checks the table.
template <typename function> struct spec_cell {
    constexpr spec_cell(std::nullptr_t) {}                           // NOLINT(google-explicit-constructor)
    constexpr spec_cell(function *cell) : filled(true), run(cell) {} // NOLINT(google-explicit-constructor)

    bool filled = false;
    function *run = nullptr;
};

struct spec_property {
    uint32_t siid, piid; // the daemon's numbers: service 9 is the cloud's 7
    const char *name;
    spec_place place;
    const char *key;    // in the store; none: it has none
    const char *method; // of the daemon itself; only where setting the property calls one
    const char *absent; // the text to read when the key has no value; none: the entry stays empty
    spec_cell<spec_get_cell> get;
    spec_cell<spec_write_cell> set;
    spec_cell<spec_report_cell> report;
    spec_cell<spec_write_cell> pull;
};

extern const std::span<const spec_property> spec_properties; // in the order of the cloud's numbers

const spec_property *spec_property_find(spec_pair local); // NULL: no row
const spec_property *spec_property_of_key(const char *key);

// What holds for the pairs without a row. A piid of 0: every piid of the service; the first row counts.
struct spec_service {
    uint32_t siid, piid;
    bool refuses;         // get: true is code -4003 with its log line, false an empty entry
    const char *set_line; // logged as an error before any property of it is set; none: nothing
};

const spec_service *spec_service_find(spec_pair local); // NULL: an unknown service; get: an empty entry

// The 32 cells of the motion region, all watched or none.
inline constexpr char spec_region_on[] = "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3]";
inline constexpr char spec_region_off[] = "[1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]";
