// SPDX-License-Identifier: MIT
#include "cloud/stream.h"

#include "cloud/property_text.h"

// What is still no whole object at this size will hardly become one.
static constexpr size_t most_held = 256 * 1024;

enum class cut { whole, unfinished, none };

struct tokener_free {
    void operator()(json_tokener *tokener) const
    {
        json_tokener_free(tokener);
    }
};

// A message about properties ends where the next one begins, for it need not be JSON.
static cut cut_untidy(const std::string &text, size_t start, bool last, size_t &end)
{
    if (!property_message_begins(text, start))
        return cut::none;
    end = property_message_end(text, start);
    if (end != std::string::npos)
        return cut::whole;
    return last ? cut::none : cut::unfinished;
}

// Looks for an object that begins at start; end and object are set for a whole one. last: nothing more is
// coming.
static cut cut_object(const std::string &text, size_t start, bool last, size_t &end, json_ptr &object)
{
    const std::unique_ptr<json_tokener, tokener_free> tokener(json_tokener_new());
    object.reset(
        json_tokener_parse_ex(tokener.get(), text.data() + start, static_cast<int>(text.size() - start)));
    if (json_tokener_get_error(tokener.get()) == json_tokener_continue && !last)
        return cut::unfinished;
    if (!object)
        return cut_untidy(text, start, last, end);
    end = start + json_tokener_get_parse_end(tokener.get());
    // The tokener takes blanks after the object for a part of it.
    while (text[end - 1] != '}')
        end--;
    return cut::whole;
}

static stream_piece take(stream &from, size_t size, json_ptr object)
{
    stream_piece piece{ from.held.substr(0, size), std::move(object) };
    from.held.erase(0, size);
    return piece;
}

std::optional<stream_piece> stream_take(stream &from, bool the_end)
{
    const bool last = the_end || from.held.size() > most_held;
    size_t start = from.held.find('{');
    size_t end = 0;
    json_ptr object;
    const size_t size = from.held.size();

    for (; start < size; start = from.held.find('{', start + 1)) {
        const cut found = cut_object(from.held, start, last, end, object);
        if (found == cut::none)
            continue;
        if (start > 0)
            return take(from, start, nullptr);
        if (found == cut::unfinished)
            return std::nullopt;
        return take(from, end, std::move(object));
    }
    if (size == 0)
        return std::nullopt;
    return take(from, size, nullptr);
}
