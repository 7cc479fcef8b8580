// SPDX-License-Identifier: MIT
// contract.h - libkivo_util.h, with its functions exported; everything else in this library stays hidden.
#pragma once

#pragma GCC visibility push(default)
#include "libkivo_util.h"
#pragma GCC visibility pop
