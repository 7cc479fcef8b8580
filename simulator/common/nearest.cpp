// SPDX-License-Identifier: MIT
#include "common/nearest.h"

#include <algorithm>
#include <utility>

size_t edit_distance(const std::string &one, const std::string &other)
{
    const size_t width = other.size() + 1;
    std::vector<std::vector<size_t>> cost(one.size() + 1, std::vector<size_t>(width));
    for (size_t i = 0; i <= one.size(); i++)
        cost[i][0] = i;
    for (size_t j = 0; j < width; j++)
        cost[0][j] = j;
    for (size_t i = 1; i <= one.size(); i++) {
        for (size_t j = 1; j < width; j++) {
            const size_t change = one[i - 1] == other[j - 1] ? 0 : 1;
            cost[i][j] = std::min({ cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + change });
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[one.size()][other.size()];
}

static bool contains(const std::string &whole, const std::string &part)
{
    constexpr size_t too_short_to_tell = 3;
    return part.size() >= too_short_to_tell && whole.find(part) != std::string::npos;
}

std::vector<std::string> nearest_names(const std::string &name, const std::vector<std::string> &names)
{
    constexpr size_t most = 3;
    // Longer than any name of ours: the distance would only cost time.
    if (name.size() > 200)
        return {};
    std::vector<std::pair<size_t, std::string>> found;
    for (const std::string &candidate : names) {
        const size_t distance = edit_distance(name, candidate);
        const size_t allowed = std::max<size_t>(1, std::min(name.size(), candidate.size()) / 3);
        if (distance <= allowed)
            found.emplace_back(distance, candidate);
        else if (contains(candidate, name) || contains(name, candidate))
            found.emplace_back(distance + 1, candidate);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });

    std::vector<std::string> nearest;
    for (const auto &[distance, candidate] : found) {
        if (nearest.size() < most)
            nearest.push_back(candidate);
    }
    return nearest;
}

std::string one_of(const std::vector<std::string> &names)
{
    std::string text;
    for (size_t i = 0; i < names.size(); i++) {
        if (i > 0)
            text += i + 1 == names.size() ? " or " : ", ";
        text += '"' + names[i] + '"';
    }
    return text;
}

std::string did_you_mean(const std::string &name, const std::vector<std::string> &names)
{
    const std::string nearest = one_of(nearest_names(name, names));
    return nearest.empty() ? "" : ", did you mean " + nearest + "?";
}
