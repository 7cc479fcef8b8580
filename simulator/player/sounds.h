// SPDX-License-Identifier: MIT
// sounds.h - which prompt some bytes are: the files of the sound folder and of its languages' folders.
#pragma once

#include <optional>
#include <string>

struct sound_name {
    std::string name;
    std::string language; // its folder; empty: the sound folder itself
};

// The file with just this content, as the folder is now. None: there is no such file.
std::optional<sound_name> sounds_find(const std::string &folder, const std::string &bytes);
