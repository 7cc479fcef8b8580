// SPDX-License-Identifier: MIT
// The link to the player: start, events, mute and unmute, end.
#include "sound/sound.h"

#include "fakes/platform.h"
#include "fakes/record.h"

struct sound_link : testing::Test {
    sound_link()
    {
        platform_reset();
        record_clear();
    }
    ~sound_link() override
    {
        sound_exit();
    }
};

TEST_F(sound_link, starts_in_its_order)
{
    sound_init(nullptr);
    EXPECT_EQ(story(), (texts{ "wrax_rcv_create(\"/run/audio_play\")", "wrax_rcv_event(0, yes)",
                               "wrax_rcv_event(1, yes)", "wrax_rcv_event(3, yes)", "wrax_rcv_start()",
                               "wrax_rcv_fd()" }));
}

TEST_F(sound_link, that_is_not_there_neither_mutes_nor_unmutes)
{
    EXPECT_EQ(sound_ban(), -1);
    EXPECT_EQ(sound_unban(), -1);
    EXPECT_EQ(story(), (texts{ "err: sound ban wrax msg handle have not been created!\n",
                               "err: sound unban wrax msg handle have not been created!\n" }));
}

TEST_F(sound_link, refuses_a_prompt_without_a_file)
{
    EXPECT_EQ(sound_play("no such prompt", sound_queued, ""), -1);
    EXPECT_EQ(story(), (texts{ "warning: sound play language is NULL, set default path!\n",
                               "warning: sound: Can not open /mnt/data/sound/no such prompt for read: No "
                               "such file or directory\n" }));
}
