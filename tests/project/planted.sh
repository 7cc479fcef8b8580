#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The planted faults fit the code of today; ./camera test --planted tries them.
set -euo pipefail
bad=0 count=0
for patch in tests/planted/*.patch; do
    count=$((count + 1))
    patch --strip=1 --fuzz=0 --dry-run --silent --input="$patch" || {
        echo "$patch does not fit any more"
        bad=1
    }
done
((count >= 10)) || {
    echo "there are $count, fewer than ten"
    bad=1
}
exit $bad
