// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libwrax.h"

#include <cerrno>

static int never_called(wrax_rcv *, const void *, void *)
{
    ADD_FAILURE() << "an event came although nobody listens";
    return 0;
}

STORY(wraxev, handlers_are_taken_for_the_three_events_and_no_other)
{
    wrax_rcv *receiver = wrax_rcv_create(desk_path("nobody").c_str());
    for (int event : { 0, 1, 3 })
        EXPECT_EQ(wrax_rcv_event(receiver, event, never_called, nullptr), 0) << event;
    for (int event : { -1, 2, 4 })
        EXPECT_EQ(wrax_rcv_event(receiver, event, never_called, nullptr), -1) << event;
    wrax_rcv_destroy(receiver);
}

STORY(wraxev, a_receiver_that_was_not_started_has_no_descriptor)
{
    wrax_rcv *receiver = wrax_rcv_create(desk_path("nobody").c_str());
    EXPECT_LT(wrax_rcv_fd(receiver), 0);
    wrax_rcv_destroy(receiver);
}

STORY(wraxev, polling_a_receiver_that_was_not_started_fails_and_brings_no_event)
{
    wrax_rcv *receiver = wrax_rcv_create(desk_path("nobody").c_str());
    for (int event : { 0, 1, 3 })
        wrax_rcv_event(receiver, event, never_called, nullptr);
    errno = 0;
    EXPECT_LT(wrax_rcv_poll(receiver), 0);
    EXPECT_EQ(errno, ENOTCONN);
    wrax_rcv_destroy(receiver);
}
