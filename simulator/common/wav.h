// SPDX-License-Identifier: MIT
// wav.h - what the head of a WAV file tells about its sound. A head may be cut or wrong: nothing is believed
// beyond the bytes that are there.
#pragma once

#include <cstdint>
#include <string_view>

// A file begins here. Needs the first 12 bytes.
bool wav_begins(std::string_view bytes);

// How many bytes the file says it has; 0: it is no WAV file, or too little of it is there. A writer that did
// not know tells a size that is not the file's.
int64_t wav_told_size(std::string_view bytes);

struct wav_sound {
    size_t at = 0;         // where the samples begin
    size_t size = 0;       // of the samples, as far as they are there
    int64_t rate = 0;      // bytes of samples a second
    size_t frame = 1;      // bytes that belong together: a sample of each channel
    int64_t length_ns = 0; // how long they sound
};

// size is 0 when nothing can be heard of it.
wav_sound wav_look(std::string_view bytes);
