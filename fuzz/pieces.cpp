// SPDX-License-Identifier: MIT
#include "fuzz/pieces.h"

constexpr uint8_t mark = 0xFF;

std::vector<std::string> pieces_of(const uint8_t *bytes, size_t size)
{
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; i++) {
        if (bytes[i] != mark) {
            pieces.back().push_back(static_cast<char>(bytes[i]));
        } else if (i + 1 < size && bytes[i + 1] == mark) {
            pieces.back().push_back(static_cast<char>(mark));
            i++;
        } else {
            pieces.emplace_back();
        }
    }
    return pieces;
}
