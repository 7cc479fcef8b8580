// SPDX-License-Identifier: MIT
#include "receiver.h"

#include <cerrno>
#include <new>

static int fail(int error)
{
    errno = error;
    return -1;
}

int wrax_rcv_global_init(void)
{
    return 0;
}

void wrax_rcv_global_exit(void) {}

wrax_rcv *wrax_rcv_create(const char *path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    wrax_rcv *receiver = new (std::nothrow) wrax_rcv;
    if (receiver != nullptr)
        receiver->path = path;
    return receiver;
}

int wrax_rcv_start(wrax_rcv *receiver)
{
    return fail(receiver == nullptr ? EINVAL : ECONNREFUSED);
}

int wrax_rcv_send_message(wrax_rcv *receiver, const void *bytes, int length)
{
    return fail(receiver == nullptr || bytes == nullptr || length < 0 ? EINVAL : ENOTCONN);
}

void wrax_rcv_destroy(wrax_rcv *receiver)
{
    delete receiver;
}
