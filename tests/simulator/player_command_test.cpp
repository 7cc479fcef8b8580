// SPDX-License-Identifier: MIT
// What the player answers on the control socket.
#include "player_desk.h"

#include "player/wire.h"

#include <sys/socket.h>

STORY(player_command, status_tells_what_sounds_and_what_waits)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("de/alarm1", sound_lasting(1000));
    EXPECT_EQ(command(desk, "status"),
              R"({"done":{"connected":false,"banned":false,"hangs":false,"playing":null,"waiting":0}})");
    daemon_connects(desk);

    daemon_sends_file(desk, sound_lasting(1000));
    daemon_sends_file(desk, sound_lasting(2000));
    daemon_sends(desk, "SOUND_BAN");

    EXPECT_EQ(command(desk, "status"), R"({"done":{"connected":true,"banned":true,"hangs":false,"playing":)"
                                       R"({"name":"alarm1","language":"de","lasts_ms":1000},"waiting":1}})");
    player_desk_close(desk);
}

STORY(player_command, list_has_what_sounds_first)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("ding", sound_lasting(300));
    daemon_connects(desk);
    EXPECT_EQ(command(desk, "list"), R"({"done":{"prompts":[]}})");
    daemon_sends_file(desk, sound_lasting(1000));
    daemon_sends_file(desk, sound_lasting(300));
    EXPECT_EQ(command(desk, "list"),
              R"({"done":{"prompts":[{"lasts_ms":1000},{"name":"ding","lasts_ms":300}]}})");
    player_desk_close(desk);
}

STORY(player_command, say_reaches_the_daemon_with_a_header_and_its_text)
{
    player_desk desk;
    player_desk_open(desk);
    EXPECT_NE(command(desk, "say", R"({"text":"x"})").find("is not connected"), std::string::npos);
    daemon_connects(desk);

    EXPECT_EQ(command(desk, "say", R"({"name":"volume","text":"80"})"), R"({"done":{}})");

    char packet[64] = {};
    EXPECT_EQ(recv(desk.daemon, packet, sizeof packet, MSG_DONTWAIT), 14);
    EXPECT_EQ(std::string(packet, 14), std::string("volume\0\0\0\0\0\0", 12) + "80");
    EXPECT_EQ(desk_journal_of("said"),
              texts{ R"({"who":"player","what":"said","name":"volume","text":"80"})" });
    player_desk_close(desk);
}

STORY(player_command, one_that_hangs_reads_and_takes_nobody_until_it_hangs_no_more)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("ding", sound_lasting(300));
    daemon_connects(desk);
    EXPECT_EQ(command(desk, "hang", R"({"on":true})"), R"({"done":{}})");

    const std::string ding = sound_lasting(300);
    ASSERT_EQ(send(desk.daemon, ding.data(), ding.size(), 0), static_cast<ssize_t>(ding.size()));
    player_works(desk);
    player_works(desk);
    EXPECT_EQ(heard_of("prompt"), texts{});
    command(desk, "hang", R"({"on":false})");
    player_works(desk);

    EXPECT_EQ(heard_of("prompt"), texts{ "ding" });
    player_desk_close(desk);
}

STORY(player_command, unknown_one_is_refused_with_the_nearest)
{
    player_desk desk;
    player_desk_open(desk);
    EXPECT_EQ(command(desk, "statu"),
              R"({"refused":"the player knows no command \"statu\", did you mean \"status\"?"})");
    player_desk_close(desk);
}
