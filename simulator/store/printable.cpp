// SPDX-License-Identifier: MIT
#include "store/printable.h"

// How many bytes at the place make one well-formed character beyond ASCII; 0: none do.
static size_t character_length(const std::string &text, size_t place)
{
    const auto byte = [&](size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
    const unsigned first = byte(place);
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    // The second byte rules out forms that are too long, surrogates, and what lies beyond the last character.
    const unsigned low = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    const unsigned high = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    if (byte(place + 1) < low || byte(place + 1) > high)
        return 0;
    for (size_t i = 2; i < length; ++i)
        if (byte(place + i) < 0x80 || byte(place + i) > 0xbf)
            return 0;
    return length;
}

static size_t ascii_length(const std::string &text, size_t place)
{
    const size_t start = place;
    while (place < text.size() && static_cast<unsigned char>(text[place]) < 0x80)
        ++place;
    return place - start;
}

json_object *printable_json(const std::string &text)
{
    std::string good;
    for (size_t place = 0; place < text.size();) {
        const size_t plain = ascii_length(text, place);
        good.append(text, place, plain);
        place += plain;
        if (place == text.size())
            break;
        const size_t length = character_length(text, place);
        good += length > 0 ? text.substr(place, length) : "\xef\xbf\xbd";
        place += length > 0 ? length : 1;
    }
    return json_object_new_string_len(good.data(), static_cast<int>(good.size()));
}
