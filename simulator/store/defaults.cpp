// SPDX-License-Identifier: MIT
#include "store/defaults.h"

#include <cerrno>
#include <cstring>
#include <fstream>

static std::string without_blanks(const std::string &text)
{
    const char *blanks = " \t\r";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// What is wrong with the line; NULL when nothing is.
static const char *take_line(const std::string &line, key_map &values)
{
    const std::string said = without_blanks(line);
    if (said.empty() || said[0] == '#')
        return nullptr;
    if (said.find('\0') != std::string::npos)
        return "holds a NUL byte, which no value may";

    const size_t equals = said.find('=');
    if (equals == std::string::npos)
        return "has no \"=\", write it as \"key = value\"";
    const std::string key = without_blanks(said.substr(0, equals));
    const std::string value = without_blanks(said.substr(equals + 1));
    if (key.empty())
        return "has no key before the \"=\", write it as \"key = value\"";
    if (key.find_first_of(" \t") != std::string::npos)
        return "has a blank inside the key, write it without";
    if (key.size() > wire_key_max)
        return "has a key of more than 1024 bytes, shorten it";
    if (value.size() > wire_value_max)
        return "has a value of more than 1048576 bytes, shorten it";
    if (!values.try_emplace(key, wire_value{ wire_type::text, value }).second)
        return "gives a key that an earlier line gave, remove one of the two";
    return nullptr;
}

bool defaults_read(const std::string &file, key_map &values, std::string &problem)
{
    std::ifstream input(file, std::ios::binary);
    std::string line;
    values.clear();
    for (int number = 1; std::getline(input, line); ++number) {
        const char *wrong = take_line(line, values);
        if (!wrong)
            continue;
        problem = "the factory defaults cannot be used: line " + std::to_string(number) + " of " + file +
                  ' ' + wrong;
        return false;
    }
    if (input.eof() && input.gcount() >= 0 && !input.bad())
        return true;
    problem = "the factory defaults in " + file + " cannot be read: " + strerror(errno);
    return false;
}
