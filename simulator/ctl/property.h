// SPDX-License-Identifier: MIT
// property.h - the camera's numbered properties from the cloud's side.
#pragma once

#include "common/json.h"
#include "ctl/commands.h"

int prop_list(const ctl_request &request);
int prop_get(const ctl_request &request);
int prop_set(const ctl_request &request);
int prop_copy(const ctl_request &request);
int prop_keep(const ctl_request &request);
int prop_pull(const ctl_request &request);
int prop_check(const ctl_request &request);

// Reads them (none: all) and waits for the answer: a list of properties as the journal's "read" has them.
// NULL: it has been said why, and status is the exit status.
json_ptr property_read_now(const ctl_request &request, const std::vector<std::string> &names, int &status);

// The cloud's table of properties, with what it believes of each. NULL as above.
json_ptr property_rows(const ctl_request &request, int &status);

// "2.1     power                    ": number and name, where each line about a property begins.
std::string property_line_start(json_object *row);
