#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Every source says under which licence it is, at its top.
set -euo pipefail
bad=$(find . -path ./build -prune -o -path ./.git -prune -o -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \
    -o -name '*.cmake' -o -name CMakeLists.txt -o -name '*.sh' -o -name camera -o -path './.ci/*' \) -print |
    while read -r file; do
        head -n 2 "$file" | grep -q 'SPDX-License-Identifier: MIT' || echo "$file"
    done)
[[ -z $bad ]] || {
    echo "without a licence line:"
    echo "$bad"
    exit 1
}
