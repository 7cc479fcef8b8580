/* SPDX-License-Identifier: MIT */
/*
 * libselvar: the client of the key-value store. Not thread-safe. Callbacks run inside
 * libselvar_xhandle_response, and inside libselvar_get_value after libselvar_handle_stop.
 *
 * space is "nvram" (kept) or "mem" (volatile), group is "default". Time-outs are seconds, 0 for
 * none; a NULL callback is not called. A NULL handle is refused with false. true means that the
 * request was sent; its outcome comes to the callback.
 *
 * What the store promises:
 * - Registering a key delivers its present value as the first notification, a pair without a value
 *   when it has none. Registering again replaces the first registration and brings the value again.
 * - Every later set of the key by any process is notified to every registered client, the setter
 *   included, also when the value is the same; an unset and a reset are notified as well.
 * - One client's writes are applied and notified in the order in which it made them.
 * - nvram outlives a crash of any process at any moment; after a sync was answered also a power
 *   cut. mem is empty when the service starts. "reset" puts nvram back to the factory defaults.
 */
#pragma once

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct selvar_handle selvar_handle;
typedef struct xresponse xresponse; /* a reply, valid during its callback */
typedef void (*selvar_callback)(selvar_handle *handle, const xresponse *reply);

struct xvalue {
    int type;        /* 1: string; 5: unsigned 64-bit */
    uint32_t length; /* bytes, without the NUL of a string */
    const char *string;
    uint64_t u64;
};

/* value NULL: the key has none; an empty text is a value of length 0. */
struct xpair {
    char *key;
    struct xvalue *value;
};

struct xcontrol_response {
    const char *key;
    uint32_t key_length;
    struct xvalue value;
};

/* NULL on failure. flags: 0. */
selvar_handle *libselvar_config_open(int flags);
void libselvar_close(selvar_handle *handle);

/* From here on replies wait for libselvar_xhandle_response. */
void libselvar_handle_other(selvar_handle *handle);

/* From here on a get returns after its own callback has run. */
void libselvar_handle_stop(selvar_handle *handle);

/* Readable when replies wait; the handle keeps it. */
int libselvar_client_fd(selvar_handle *handle);

/* Runs the callbacks of what has arrived. false: the connection is gone. */
bool libselvar_xhandle_response(selvar_handle *handle);

/* type 1: value is a text; type 5: value is a const uint64_t *. */
bool libselvar_set_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         int type, const void *value, selvar_callback reply, selvar_callback timed_out,
                         int timeout, int flags);
bool libselvar_get_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         selvar_callback reply, selvar_callback timed_out, int timeout, int flags);

/* notification_id receives an id; notify is called for every notification of the key. */
bool libselvar_register_notification(selvar_handle *handle, const char *space, const char *group,
                                     const char *key, int *notification_id, selvar_callback notify,
                                     selvar_callback timed_out, int timeout, int flags);

/* Goes by namespace and key; the id is not checked. */
bool libselvar_unregister_notification(selvar_handle *handle, const char *space, const char *group,
                                       const char *key, int notification_id, selvar_callback reply,
                                       selvar_callback timed_out, int timeout, int flags);
bool libselvar_unset(selvar_handle *handle, const char *space, const char *group, const char *key,
                     selvar_callback reply, selvar_callback timed_out, int timeout, int flags);

/* command "reset" puts the namespace back to the factory defaults. */
bool libselvar_other(selvar_handle *handle, const char *command, const char *space, const char *group,
                     const char *key, int type, const void *value, selvar_callback reply,
                     selvar_callback timed_out, int timeout, int flags);
bool libselvar_sync(selvar_handle *handle, const char *space, selvar_callback reply,
                    selvar_callback timed_out, int timeout, int flags);

/* The pair belongs to the caller (xpair_basefree); *pair stays NULL on failure. status 0: good. */
void xresponse_parse(const xresponse *reply, struct xpair **pair, int *status);

int xresponse_message_type(const xresponse *reply); /* 3: reply to a set */
int xresponse_status(const xresponse *reply);       /* 0: success */

/* out points into the reply. */
bool xcontrol_get_response(const xresponse *reply, struct xcontrol_response *out);

void xpair_basefree(struct xpair *pair); /* NULL is allowed */

#ifdef __cplusplus
}
#endif
