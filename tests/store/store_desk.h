// SPDX-License-Identifier: MIT
// store_desk.h - the store client over the fake library, opened, with a callback that notes what it is given.
#pragma once

#include "store/selvar_nvram.h"

#include "fakes/record.h"
#include "fakes/store_library.h"

struct delivery {
    std::string key;
    int type; // selvar_delivered_type during the delivery
    bool is_null;
    std::string text;
    uint64_t number;
};

inline std::vector<delivery> deliveries;

inline void note_delivery(const char *key, const void *value)
{
    delivery note = { key, selvar_delivered_type, value == nullptr, "", 0 };
    if (value != nullptr && selvar_delivered_type == selvar_delivers_u64)
        note.number = *static_cast<const uint64_t *>(value);
    else if (value != nullptr)
        note.text = static_cast<const char *>(value);
    deliveries.push_back(note);
}

struct closed_store : testing::Test {
    closed_store()
    {
        store_reset();
        deliveries.clear();
        record_clear();
    }
    ~closed_store() override
    {
        selvar_nvram_exit();
    }
};

struct open_store : closed_store {
    open_store()
    {
        selvar_nvram_init(note_delivery);
        record_clear();
    }
};

// Lets the answers that wait arrive, as the loop does when the descriptor is readable.
inline void store_descriptor_is_readable()
{
    EXPECT_EQ(selvar_nvram_response(), 0);
}
