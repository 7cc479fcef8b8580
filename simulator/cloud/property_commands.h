// SPDX-License-Identifier: MIT
// property_commands.h - what the control socket asks of the cloud about properties. Rows of the table in
// commands.cpp; each answers {"done":..} or {"refused":..}, the caller's.
#pragma once

#include "cloud/cloud.h"

// {"properties":["power","2.3"]} are read, all when there are none; the answer comes as the journal's "read"
// with the id that is returned.
json_object *property_get(cloud &self, json_object *arguments);

// {"values":[["power","on"],["2.3","1"]]} are set; the acknowledgement comes as the journal's "written".
json_object *property_set(cloud &self, json_object *arguments);

// The same values become the cloud's own; nothing is sent.
json_object *property_keep(cloud &self, json_object *arguments);

// {"properties":[{"property":"2.1","name":"power",..,"value":true,"from":"read"}]}
json_object *property_list(cloud &self, json_object *arguments);

// From begin on reports and reads are collected; check compares them.
json_object *property_check_begin(cloud &self, json_object *arguments);
json_object *property_check(cloud &self, json_object *arguments);
