// SPDX-License-Identifier: MIT
#include "modules/module.h"

struct module module_table[1] = {};
int32_t module_count = 0;
