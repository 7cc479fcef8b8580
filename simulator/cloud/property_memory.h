// SPDX-License-Identifier: MIT
// property_memory.h - what the cloud believes outlives the camera: a reboot makes nobody in the cloud forget.
#pragma once

#include <string>

struct cloud;

// All that is believed, as one JSON object.
std::string property_memory(cloud &self);

// Takes what property_memory gave in an earlier life; what is none of it is passed over.
void property_recall(cloud &self, const std::string &memory);
