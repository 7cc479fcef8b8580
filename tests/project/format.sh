#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Every source is formatted as .clang-format has it.
set -euo pipefail
find . -path ./build -prune -o -path ./.git -prune -o \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print0 |
    xargs -0 clang-format --dry-run -Werror
