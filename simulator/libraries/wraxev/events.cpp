// SPDX-License-Identifier: MIT
#include "../wrax/receiver.h"

#include <cerrno>

static int fail(int error)
{
    errno = error;
    return -1;
}

int wrax_rcv_event(wrax_rcv *receiver, int event, wrax_rcv_handler handler, void *argument)
{
    if (receiver == nullptr || event < 0 || event >= wrax_event_count || event == 2)
        return fail(EINVAL);
    receiver->subscriptions[event] = { .handler = handler, .argument = argument };
    return 0;
}

int wrax_rcv_fd(wrax_rcv *receiver)
{
    return receiver == nullptr ? fail(EINVAL) : receiver->fd;
}

int wrax_rcv_poll(wrax_rcv *receiver)
{
    return fail(receiver == nullptr ? EINVAL : ENOTCONN);
}
