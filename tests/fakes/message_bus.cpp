// SPDX-License-Identifier: MIT
// libwrax and libwraxev.
#include "fakes/platform.h"
#include "fakes/record.h"

#include <libwrax.h>

struct wrax_rcv {
    int unused;
};

static wrax_rcv the_receiver;

int wrax_rcv_global_init(void)
{
    record_call("wrax_rcv_global_init()");
    return 0;
}

void wrax_rcv_global_exit(void)
{
    record_call("wrax_rcv_global_exit()");
}

wrax_rcv *wrax_rcv_create(const char *path)
{
    record_call("wrax_rcv_create(%s)", quoted(path).c_str());
    return &the_receiver;
}

int wrax_rcv_event(wrax_rcv *, int event, wrax_rcv_handler handler, void *)
{
    record_call("wrax_rcv_event(%d, %s)", event, handler == nullptr ? "none" : "yes");
    return 0;
}

int wrax_rcv_start(wrax_rcv *)
{
    record_call("wrax_rcv_start()");
    return 0;
}

int wrax_rcv_fd(wrax_rcv *)
{
    record_call("wrax_rcv_fd()");
    return -1;
}

int wrax_rcv_poll(wrax_rcv *)
{
    record_call("wrax_rcv_poll()");
    return 0;
}

int wrax_rcv_send_message(wrax_rcv *, const void *, int length)
{
    record_call("wrax_rcv_send_message(%d bytes)", length);
    return length;
}

void wrax_rcv_destroy(wrax_rcv *)
{
    record_call("wrax_rcv_destroy()");
}
