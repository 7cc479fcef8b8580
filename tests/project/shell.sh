#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shell scripts are free of the usual traps, and camera stays short.
set -euo pipefail
shellcheck -x camera .ci/run tests/*.sh tests/project/*.sh
lines=$(wc -l <camera)
((lines <= 150)) || {
    echo "camera has $lines lines, more than 150"
    exit 1
}
