// SPDX-License-Identifier: MIT
// property_check.h - whether what the daemon reports of a property is what it answers to a read.
#pragma once

#include "cloud/property_exchange.h"

#include <optional>

enum class property_verdict {
    same,       // reported and read alike
    by_design,  // not alike, or not reported, or not read, for a reason that is known
    not_stored, // the key has no value, so nothing can be reported; the read answers what the daemon takes
                // then
    differs,    // anything else
};

struct property_finding {
    property_verdict verdict;
    std::string reason; // empty: there is nothing to say
};

struct property_facts {
    const property_copy *copy = nullptr;
    bool watched = false; // now: "power" is only while the camera is bound
    std::optional<std::string>
        stored; // what the key holds; it has been written once more since the check began
};

property_finding property_compare(const property &row, const property_facts &facts);

// All differences that are by design, whether they show now or not:
// [{"property":"2.3","name":..,"reason":..}]
json_ptr property_differences(void);

const char *property_verdict_text(property_verdict verdict);
