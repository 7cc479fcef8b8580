// SPDX-License-Identifier: MIT
// lock_region.h - the region lock: keeps the store's "lock_region" and "legal_status" and serves them to the
// cloud.
#pragma once

#include "modules/module.h"

struct dev_lock_state {
    int32_t lock_region; // set by the store only
    int32_t legal_status;
};

extern dev_lock_state dev_lock; // follows the store

extern const char *const ozu_lock_region_nvram_key[2];
extern const char *const ozu_lock_region_mem_key[1]; // one empty slot
extern const module_method ozu_lock_region_method[2];

int32_t ozu_lock_region_init(void *);
void ozu_lock_region_exit(void *);
int32_t ozu_lock_region_msg_handler(void *, void *, void *);
void ozu_lock_region_selvar_callback(const char *key, const void *value);

void ozu_lock_region_set_properties(const char *msg, int32_t id, char *ackbuf, const char *method,
                                    int32_t *reply_flag, int sock);
void ozu_lock_region_get_properties(const char *msg, int32_t id, char *ackbuf, const char *method,
                                    int32_t *reply_flag, int sock);
