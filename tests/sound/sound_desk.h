// SPDX-License-Identifier: MIT
// sound_desk.h - the link to a player that listens, and a folder of prompts.
#pragma once

#include "sound/sound.h"

#include "fakes/daemon_desk.h"

struct sound_desk : store_open_desk {
    ~sound_desk() override
    {
        sound_exit();
        EXPECT_EQ(prompt_mappings(), 0);
        EXPECT_EQ(bus_receivers(), 0);
    }

    // The player's socket is there; it connects when a test says so.
    static void link_is_up(sound_message_handler handler = nullptr)
    {
        bus.player_listens = true;
        sound_init(handler);
        record_clear();
    }

    static void player_connects()
    {
        bus_player_connects();
        EXPECT_EQ(sound_recv(), 0);
    }

    prompt_folder prompts;
};

inline const std::string no_language = "warning: sound play language is NULL, set default path!\n";

inline std::string cannot_open(const std::string &path, const std::string &why)
{
    return "warning: sound: Can not open " + path + " for read: " + why + "\n";
}
