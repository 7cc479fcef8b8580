// SPDX-License-Identifier: MIT
#include "player/pieces.h"

#include "common/wav.h"
#include "player/wire.h"

#include <utility>

static constexpr size_t most_held = 64 * 1024 * 1024; // of a file without an end

struct order_row {
    const char *text;
    piece_kind kind;
};

static constexpr order_row orders[] = {
    { "SOUND_BAN", piece_kind::ban },
    { "SOUND_UNBAN", piece_kind::unban },
};

std::vector<piece> pieces_settle(prompt_pieces &pieces)
{
    if (pieces.held.empty())
        return {};
    // Had it been whole, its last piece would have ended it; one without a head may still end here.
    const bool lacks_some = wav_told_size(pieces.held) > static_cast<int64_t>(pieces.held.size());
    return { { lacks_some ? piece_kind::cut : piece_kind::prompt, std::exchange(pieces.held, {}) } };
}

static bool is_whole(const prompt_pieces &pieces, const std::string &last)
{
    return last.size() < bus_longest || pieces.held.size() >= most_held ||
           wav_told_size(pieces.held) == static_cast<int64_t>(pieces.held.size());
}

std::vector<piece> pieces_take(prompt_pieces &pieces, const std::string &message, int64_t now_ns)
{
    for (const order_row &order : orders) {
        if (message != order.text)
            continue;
        std::vector<piece> done = pieces_settle(pieces);
        done.push_back({ order.kind });
        return done;
    }
    // A prompt that could not be sent to its end is sent again from its start.
    std::vector<piece> done;
    if (wav_begins(message))
        done = pieces_settle(pieces);
    pieces.held += message;
    pieces.grown_ns = now_ns;
    if (is_whole(pieces, message))
        done.push_back({ piece_kind::prompt, std::exchange(pieces.held, {}) });
    return done;
}
