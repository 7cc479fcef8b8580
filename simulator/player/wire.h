// SPDX-License-Identifier: MIT
// wire.h - how libwrax and the audio player talk: over a Unix socket that keeps packets apart
// (SOCK_SEQPACKET), where the player listens. A packet is a message, so one arrives whole or not at all,
// whoever dies meanwhile.
//
//   player to receiver   first bus_hello, once the player serves the connection; then messages: a header of
//                        bus_header_size bytes, which holds a name and ends with NUL bytes, and a text
//   receiver to player   messages of at most bus_longest bytes, as they are
#pragma once

#include <cstddef>

constexpr char bus_hello[] = "wrax 1";
constexpr size_t bus_header_size = 12;
constexpr size_t bus_longest = 65536;
