// SPDX-License-Identifier: MIT
#include "player/sounds.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

static bool holds(const fs::path &file, const std::string &bytes)
{
    std::error_code error;
    if (!fs::is_regular_file(file, error) || fs::file_size(file, error) != bytes.size() || error)
        return false;
    const std::ifstream in(file, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.view() == bytes;
}

// In the order of their names, so that of two equal files the same is always found.
static std::set<fs::path> entries(const fs::path &folder)
{
    std::error_code error;
    std::set<fs::path> all;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error))
        all.insert(entry.path());
    return all;
}

static std::optional<sound_name> find_in(const fs::path &folder, const std::string &language,
                                         const std::string &bytes)
{
    for (const fs::path &file : entries(folder)) {
        if (holds(file, bytes))
            return sound_name{ .name = file.filename(), .language = language };
    }
    return {};
}

std::optional<sound_name> sounds_find(const std::string &folder, const std::string &bytes)
{
    std::optional<sound_name> found = find_in(folder, "", bytes);
    std::error_code error;
    for (const fs::path &entry : entries(folder)) {
        if (!found && fs::is_directory(entry, error))
            found = find_in(entry, entry.filename(), bytes);
    }
    return found;
}
