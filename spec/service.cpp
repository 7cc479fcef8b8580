// SPDX-License-Identifier: MIT
#include "spec/service.h"

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
