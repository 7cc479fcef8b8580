/* SPDX-License-Identifier: MIT */
/*
 * libwrax and libwraxev: the shared-buffer message bus. wrax_rcv_event, wrax_rcv_poll and
 * wrax_rcv_fd live in libwraxev, the rest in libwrax. Main thread only; handlers run inside
 * wrax_rcv_poll.
 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef struct wrax_rcv wrax_rcv;

/* message: a 12-byte header followed by NUL-terminated text, valid during the call. */
typedef int (*wrax_rcv_handler)(wrax_rcv *receiver, const void *message, void *argument);

int wrax_rcv_global_init(void);
void wrax_rcv_global_exit(void);

/* NULL on failure. The caller destroys it. */
wrax_rcv *wrax_rcv_create(const char *path);

/* event: 0 the peer connected, 1 it left, 3 it sent a message. */
int wrax_rcv_event(wrax_rcv *receiver, int event, wrax_rcv_handler handler, void *argument);

/* Negative on failure, so while nobody listens at the path. Does not wait for the peer: that is event 0. */
int wrax_rcv_start(wrax_rcv *receiver);

/* The descriptor that is readable when events wait; the receiver keeps it. Negative before the start. */
int wrax_rcv_fd(wrax_rcv *receiver);

/*
 * Runs the handlers of what waits. Negative on failure with errno set: so the next time after
 * event 1 was delivered.
 */
int wrax_rcv_poll(wrax_rcv *receiver);

/*
 * Sends length bytes, at most 65,536, as one message, whole or not at all. Negative on failure: the peer is
 * not connected, or has not read for so long that there is no room. Waits for a moment at most.
 */
int wrax_rcv_send_message(wrax_rcv *receiver, const void *bytes, int length);

void wrax_rcv_destroy(wrax_rcv *receiver);

#ifdef __cplusplus
}
#endif
