/* SPDX-License-Identifier: MIT
 *
 * contracts.c - what the camera's own libraries were built with, declared once more and in C: a header in
 * platform/include that says something else about an argument, a result or a struct does not compile with it.
 */
#include "libcam_warden.h"
#include "libkivo_statistics.h"
#include "libkivo_util.h"
#include "libselvar.h"
#include "libselvar_share.h"
#include "libwrax.h"

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

// NOLINTBEGIN(readability-redundant-declaration): that is what it is for
void log_debug(const char *, ...);
void log_info(const char *, ...);
void log_warning(const char *, ...);
void log_err(const char *, ...);
void log_set_syslog_level(int);
uint32_t time_monotonic(void);
uint64_t time_realtime_ms(void);
int timer_start(int, int, int);
int rand_range(int, int);
int generate_random_id(void);

int report_stat_object(const char *, struct json_object *);

int torvu_camwarden_init(void (*)(int, void *));
void torvu_camwarden_exit(void);
int torvu_led_control(int, int, int, int, int, int);
int torvu_led_setpriority(int);
int torvu_motor_control(int, void *, int);
int motor_running_dectect(void);

int wrax_rcv_global_init(void);
void wrax_rcv_global_exit(void);
struct wrax_rcv *wrax_rcv_create(const char *);
int wrax_rcv_event(struct wrax_rcv *, int, int (*)(struct wrax_rcv *, const void *, void *), void *);
int wrax_rcv_start(struct wrax_rcv *);
int wrax_rcv_fd(struct wrax_rcv *);
int wrax_rcv_poll(struct wrax_rcv *);
int wrax_rcv_send_message(struct wrax_rcv *, const void *, int);
void wrax_rcv_destroy(struct wrax_rcv *);

typedef void (*callback)(struct selvar_handle *, const struct xresponse *);
struct selvar_handle *libselvar_config_open(int);
void libselvar_close(struct selvar_handle *);
void libselvar_handle_other(struct selvar_handle *);
void libselvar_handle_stop(struct selvar_handle *);
int libselvar_client_fd(struct selvar_handle *);
bool libselvar_xhandle_response(struct selvar_handle *);
bool libselvar_set_value(struct selvar_handle *, const char *, const char *, const char *, int, const void *,
                         callback, callback, int, int);
bool libselvar_get_value(struct selvar_handle *, const char *, const char *, const char *, callback, callback,
                         int, int);
bool libselvar_register_notification(struct selvar_handle *, const char *, const char *, const char *, int *,
                                     callback, callback, int, int);
bool libselvar_unregister_notification(struct selvar_handle *, const char *, const char *, const char *, int,
                                       callback, callback, int, int);
bool libselvar_unset(struct selvar_handle *, const char *, const char *, const char *, callback, callback,
                     int, int);
bool libselvar_other(struct selvar_handle *, const char *, const char *, const char *, const char *, int,
                     const void *, callback, callback, int, int);
bool libselvar_sync(struct selvar_handle *, const char *, callback, callback, int, int);
void xresponse_parse(const struct xresponse *, struct xpair **, int *);
int xresponse_message_type(const struct xresponse *);
int xresponse_status(const struct xresponse *);
bool xcontrol_get_response(const struct xresponse *, struct xcontrol_response *);
void xpair_basefree(struct xpair *);

char *libselvar_config_get(int, const char *, const char *, const char *);
// NOLINTEND(readability-redundant-declaration)

struct expected_xvalue {
    int type;
    uint32_t length;
    const char *string;
    uint64_t u64;
};

struct expected_xpair {
    char *key;
    struct xvalue *value;
};

struct expected_xcontrol_response {
    const char *key;
    uint32_t key_length;
    struct xvalue value;
};

/* An array of -1 elements where the two differ. */
#define SAME_PLACE(record, field)                                                                            \
    typedef char                                                                                             \
        record##_##field[offsetof(struct record, field) == offsetof(struct expected_##record, field) ? 1     \
                                                                                                     : -1]

SAME_PLACE(xvalue, type);
SAME_PLACE(xvalue, length);
SAME_PLACE(xvalue, string);
SAME_PLACE(xvalue, u64);
SAME_PLACE(xpair, key);
SAME_PLACE(xpair, value);
SAME_PLACE(xcontrol_response, key);
SAME_PLACE(xcontrol_response, key_length);
SAME_PLACE(xcontrol_response, value);

typedef char xvalue_size[sizeof(struct xvalue) == sizeof(struct expected_xvalue) ? 1 : -1];
typedef char xpair_size[sizeof(struct xpair) == sizeof(struct expected_xpair) ? 1 : -1];
