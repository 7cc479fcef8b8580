// SPDX-License-Identifier: MIT
#include "common/wav.h"

#include <algorithm>

static constexpr size_t riff_head = 12;
static constexpr size_t chunk_head = 8; // name and size, before the chunk itself
static constexpr size_t rate_at = 8;    // in the format's chunk
static constexpr size_t frame_at = 12;

static int64_t number_at(std::string_view bytes, size_t at, size_t size = 4)
{
    int64_t number = 0;
    for (size_t i = size; i > 0; i--)
        number = number << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
    return number;
}

bool wav_begins(std::string_view bytes)
{
    return bytes.size() >= riff_head && bytes.substr(0, 4) == "RIFF" && bytes.substr(8, 4) == "WAVE";
}

int64_t wav_told_size(std::string_view bytes)
{
    return wav_begins(bytes) ? number_at(bytes, 4) + static_cast<int64_t>(chunk_head) : 0;
}

wav_sound wav_look(std::string_view bytes)
{
    constexpr int64_t ns_per_s = 1'000'000'000;
    wav_sound sound;
    size_t at = wav_begins(bytes) ? riff_head : bytes.size();
    while (bytes.size() - at >= chunk_head && sound.size == 0) {
        const std::string_view name = bytes.substr(at, 4);
        const auto told = static_cast<size_t>(number_at(bytes, at + 4));
        at += chunk_head;
        const size_t there = std::min(told, bytes.size() - at);
        if (name == "fmt " && there >= frame_at + 2) {
            sound.rate = number_at(bytes, at + rate_at);
            sound.frame = static_cast<size_t>(std::max(number_at(bytes, at + frame_at, 2), INT64_C(1)));
        }
        if (name == "data") {
            sound.at = at;
            sound.size = sound.rate > 0 ? there : 0;
            break;
        }
        at += std::min(there + there % 2, bytes.size() - at); // chunks begin at even places
    }
    if (sound.size > 0)
        sound.length_ns = static_cast<int64_t>(sound.size) * ns_per_s / sound.rate;
    return sound;
}
