/* SPDX-License-Identifier: MIT */
/* libselvar_share: a single read from the store; needs no handle and no open connection. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The value of key as text, a malloc'ed copy that the caller frees; NULL when there is none or the
 * store does not answer within a second. flags: 0. space: "nvram" or "mem". group: "default".
 */
char *libselvar_config_get(int flags, const char *space, const char *group, const char *key);

#ifdef __cplusplus
}
#endif
