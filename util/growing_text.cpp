// SPDX-License-Identifier: MIT
#include "util/growing_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

constexpr size_t first_room = 2000; // what most messages need

static bool make_room(growing_text &to, size_t more)
{
    size_t wanted = to.length + more + 1;
    if (wanted <= to.room)
        return true;
    size_t room = std::max({ wanted, 2 * to.room, first_room });
    char *grown = static_cast<char *>(realloc(to.text.get(), room));
    if (!grown)
        return false;
    static_cast<void>(to.text.release()); // realloc has taken it
    to.text.reset(grown);
    to.room = room;
    return true;
}

bool growing_text_add(growing_text &to, const char *piece)
{
    size_t length = strlen(piece);
    if (!make_room(to, length))
        return false;
    memcpy(to.text.get() + to.length, piece, length + 1);
    to.length += length;
    return true;
}

bool growing_text_print(growing_text &to, const char *format, ...)
{
    va_list measured;
    va_list printed;
    va_start(measured, format);
    va_copy(printed, measured);
    // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): both have been started
    int length = vsnprintf(nullptr, 0, format, measured);
    bool fits = length >= 0 && make_room(to, static_cast<size_t>(length));
    if (fits) {
        vsnprintf(to.text.get() + to.length, to.room - to.length, format, printed);
        to.length += static_cast<size_t>(length);
    }
    // NOLINTEND(clang-analyzer-valist.Uninitialized)
    va_end(printed);
    va_end(measured);
    return fits;
}
