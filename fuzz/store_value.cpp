// SPDX-License-Identifier: MIT
// store_value.cpp - values of the store, of any key and any type. A piece is one notification:
//   KEY=tTEXT    a text            KEY=nDIGITS  a number         KEY  no value
//   KEY=eTEXT    a failed one      KEY=fTEXT    a failed one, of which nothing can be told
//   KEY=oTEXT    a time-out        any other letter is itself the type of the value, with both contents
#include "fuzz/desk.h"
#include "fuzz/pieces.h"
#include "store/selvar_nvram.h"

#include "fakes/store_library.h"

#include <cstdlib>
#include <cstring>

constexpr size_t longest_key = 127; // more is cut by the store client

static xresponse reply_of(const std::string &piece)
{
    size_t end = piece.find('=');
    xresponse reply = no_value_reply(piece.substr(0, std::min(end, longest_key)).c_str());
    if (end == std::string::npos || end + 1 == piece.size())
        return reply;
    char kind = piece[end + 1];
    reply.string = piece.substr(end + 2);
    reply.u64 = strtoull(reply.string.c_str(), nullptr, 10);
    reply.type = kind == 't' || kind == 'e' || kind == 'o' ? 1 : kind == 'n' ? 5 : kind;
    reply.parses = kind != 'f';
    reply.status = kind == 'e' || kind == 'f' ? 1 : 0;
    return reply;
}

static bool times_out(const std::string &piece)
{
    return piece.find("=o") == piece.find('=') && piece.find('=') != std::string::npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    fuzz_desk desk;
    for (const std::string &piece : pieces_of(bytes, size)) {
        xresponse reply = reply_of(piece);
        if (!store_is_watched("mem", reply.key.c_str()))
            selvar_nvram_register_notify("mem", reply.key.c_str());
        if (times_out(piece))
            store_notification_times_out("mem", reply);
        else
            store_notify("mem", reply);
        selvar_nvram_response();
    }
    return 0;
}
