// SPDX-License-Identifier: MIT
#include "spec/service.h"

#include "spec/properties.h"
#include "store/selvar_nvram.h"

#include <cstring>

char spec_did[20];
int32_t spec_sock = 0;
spec_dispatch spec_rpc_dispatch = nullptr;

void nubo_spec_init(const char *did, int32_t sock, spec_dispatch dispatch)
{
    size_t length = strnlen(did, sizeof spec_did);
    memset(spec_did, 0, sizeof spec_did);
    memcpy(spec_did, did, length);
    spec_sock = sock;
    spec_rpc_dispatch = dispatch;
}

void nubo_spec_socket_closed(void)
{
    spec_sock = 0;
}

struct default_setting {
    int (*set)(const char *key, const char *value, int length);
    const char *key;
    const char *value;
};

// clang-format off
static constexpr default_setting default_settings[] = {
    { selvar_mem_set_string,   "track_switch",            "off" },
    { selvar_nvram_set_string, "motion_detection_enable", "off" },
    { selvar_nvram_set_string, "motion_alarm_interval",   "5" },
    { selvar_nvram_set_string, "motion_region",           spec_region_on },
    { selvar_mem_set_string,   "detection_start",         "00:00:00" },
    { selvar_mem_set_string,   "detection_end",           "23:59:59" },
};
// clang-format on

int set_default_param_to_spec_service(void)
{
    int result = 0;
    for (const default_setting &setting : default_settings)
        result = setting.set(setting.key, setting.value, 1);
    return result;
}

void nubo_spec_handle_action(int32_t, const char *, int) {}
