// SPDX-License-Identifier: MIT
// What the spec service is told: the device id, the socket, the dispatcher.
#include "core/dispatcher.h"
#include "spec/service.h"

#include <gtest/gtest.h>

#include <cstring>

struct spec_state : testing::Test {
    ~spec_state() override
    {
        nubo_spec_init("", 0, nullptr);
    }
};

TEST_F(spec_state, keeps_the_device_id_the_socket_and_the_dispatcher)
{
    nubo_spec_init("1234567", 33, msg_dispatcher);
    EXPECT_STREQ(spec_did, "1234567");
    EXPECT_EQ(spec_sock, 33);
    EXPECT_EQ(spec_rpc_dispatch, &msg_dispatcher);
}

TEST_F(spec_state, takes_the_last_told)
{
    nubo_spec_init("123456789012345", 33, msg_dispatcher);
    nubo_spec_init("42", -1, nullptr);
    EXPECT_STREQ(spec_did, "42");
    EXPECT_EQ(spec_sock, -1);
    EXPECT_EQ(spec_rpc_dispatch, nullptr);
}

TEST_F(spec_state, an_id_of_nineteen_characters_is_ended)
{
    nubo_spec_init("1234567890123456789", 0, nullptr);
    EXPECT_STREQ(spec_did, "1234567890123456789");
}

TEST_F(spec_state, an_id_of_twenty_characters_and_more_fills_the_room_without_an_end)
{
    nubo_spec_init("12345678901234567890ABCDEF", 0, nullptr);
    EXPECT_EQ(memcmp(spec_did, "12345678901234567890", sizeof(spec_did)), 0);
    EXPECT_EQ(sizeof(spec_did), 20U);
}
