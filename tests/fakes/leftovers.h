// SPDX-License-Identifier: MIT
// leftovers.h - what the daemon has not given back to the fakes. Memory is a sanitizer's business, and
// descriptors are counted with open_descriptors().
#pragma once

#include "fakes/files.h"
#include "fakes/message_bus.h"
#include "fakes/record.h"
#include "fakes/shared_memory.h"
#include "fakes/store_library.h"

inline texts leftovers()
{
    texts left;
    if (store_open_handles() != 0)
        left.emplace_back("a handle of the store");
    if (store_live_pairs() != 0)
        left.emplace_back("a pair of the store");
    if (bus_receivers() != 0)
        left.emplace_back("a receiver of the bus");
    if (prompt_mappings() != 0)
        left.emplace_back("a mapped prompt");
    if (segments_attached() != 0)
        left.emplace_back("an attached segment");
    return left;
}
