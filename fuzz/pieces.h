// SPDX-License-Identifier: MIT
// pieces.h - an input of a fuzzer as a list of pieces, in a form that a person can write: byte 0xFF ends a
// piece, and 0xFF 0xFF stands for itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

std::vector<std::string> pieces_of(const uint8_t *bytes, size_t size);
