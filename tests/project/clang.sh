#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The second compiler takes the daemon and the virtual camera without a warning too.
set -euo pipefail
folder=build/clang
cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$folder"
