// SPDX-License-Identifier: MIT
// store.h - the store as another program of the camera would use it.
#pragma once

#include "ctl/commands.h"

int store_get(const ctl_request &request);
int store_set(const ctl_request &request);
int store_unset(const ctl_request &request);
int store_list(const ctl_request &request);
int store_watch(const ctl_request &request);
