// SPDX-License-Identifier: MIT
#include "modules/lock_region.h"

#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>

constexpr size_t ackbuf_size = 1024;
constexpr size_t legal_status_size = 5; // four characters are kept

dev_lock_state dev_lock;

const char *const ozu_lock_region_nvram_key[2] = { "lock_region", "legal_status" };
const char *const ozu_lock_region_mem_key[1] = { nullptr };
const module_method ozu_lock_region_method[2] = {
    { "set_lock_region_status", ozu_lock_region_set_properties },
    { "get_lock_region_status", ozu_lock_region_get_properties },
};

int32_t ozu_lock_region_init(void *)
{
    return 0;
}

void ozu_lock_region_exit(void *) {}

int32_t ozu_lock_region_msg_handler(void *, void *, void *)
{
    return 0;
}

void ozu_lock_region_selvar_callback(const char *key, const void *value)
{
    int32_t number = value ? atoi(static_cast<const char *>(value)) : 0;
    if (text_equal(key, "lock_region")) {
        dev_lock.lock_region = number;
        log_debug("dev_lock.lock_region: %d\n", number);
    } else if (text_equal(key, "legal_status")) {
        dev_lock.legal_status = number;
        log_debug("dev_lock.legal_status: %d\n", number);
    }
}

static void store_legal_status(json_object *params)
{
    json_object *first = nullptr;
    json_object *status = nullptr;
    if (json_object_is_type(params, json_type_array))
        first = json_object_array_get_idx(params, 0);
    if (!json_object_object_get_ex(first, "legal_status", &status) || !status)
        return;
    char number[12];
    snprintf(number, sizeof number, "%d", json_object_get_int(status));
    char kept[legal_status_size];
    text_copy(kept, sizeof kept, number);
    selvar_nvram_set_string("legal_status", kept, 0);
}

void ozu_lock_region_set_properties(const char *msg, int32_t id, char *ackbuf, const char *method,
                                    int32_t *reply_flag, int)
{
    log_info("%s , msg:%s ... \n", __func__, msg);
    json_text request(msg);
    json_object *params = nullptr;
    if (json_verify_params(request, __func__, &params) != 0) {
        *reply_flag = 0;
        return;
    }
    if (!text_equal(method, "set_lock_region_status"))
        return;
    *reply_flag = 1;
    store_legal_status(params);
    reply_ok(ackbuf, ackbuf_size, id);
}

void ozu_lock_region_get_properties(const char *, int32_t id, char *ackbuf, const char *, int32_t *reply_flag,
                                    int)
{
    *reply_flag = 1;
    snprintf(ackbuf, ackbuf_size,
             "{\"code\":0,\"id\":%d,\"result\":[{\"lock_region\":%d,\"legal_status\":%d}]}", id,
             dev_lock.lock_region, dev_lock.legal_status);
    log_info(">>>>ackbuf=%s\n", ackbuf);
}
