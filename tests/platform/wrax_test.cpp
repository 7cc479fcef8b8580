// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libwrax.h"

#include <cerrno>

STORY(wrax, the_bus_can_be_opened_and_closed)
{
    EXPECT_EQ(wrax_rcv_global_init(), 0);
    wrax_rcv_global_exit();
}

STORY(wrax, a_receiver_is_made_for_a_path_and_destroyed_by_the_caller)
{
    wrax_rcv *receiver = wrax_rcv_create("/run/audio_play");
    EXPECT_NE(receiver, nullptr);
    wrax_rcv_destroy(receiver);
}

STORY(wrax, without_a_path_there_is_no_receiver)
{
    EXPECT_EQ(wrax_rcv_create(nullptr), nullptr);
}

STORY(wrax, a_start_fails_while_nobody_listens)
{
    wrax_rcv *receiver = wrax_rcv_create(desk_path("nobody").c_str());
    errno = 0;
    EXPECT_LT(wrax_rcv_start(receiver), 0);
    EXPECT_EQ(errno, ECONNREFUSED);
    wrax_rcv_destroy(receiver);
}

STORY(wrax, nothing_can_be_sent_while_nobody_listens)
{
    wrax_rcv *receiver = wrax_rcv_create(desk_path("nobody").c_str());
    errno = 0;
    EXPECT_LT(wrax_rcv_send_message(receiver, "text", 5), 0);
    EXPECT_EQ(errno, ENOTCONN);
    wrax_rcv_destroy(receiver);
}
