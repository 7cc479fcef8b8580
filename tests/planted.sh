#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# planted.sh BUILD - every fault in tests/planted must make a test of the daemon's rooms fail, which are built in BUILD. One line
# a fault: it ends with the test that has caught it.
set -euo pipefail
build=$1
log=$build/planted.log

# In the copy that has the fault: prints which test has failed, and nothing when none did.
run_rooms() { # ROOM...
    local room
    for room in "$@"; do
        ninja -C "$build" "${room}_test" >"$log" 2>&1 || {
            tail -n 20 "$log" >&2
            exit 1
        }
        timeout 120 "$build/tests/${room}_test" >"$log" 2>&1 && continue
        # Without a verdict it broke off, in the case that began last.
        sed -n 's/^\[  FAILED  \] \([^ ,]*\).*/\1/p' "$log" | grep -m 1 . ||
            sed -n 's/^\[ RUN      \] //p' "$log" | tail -n 1
        return
    done
}

if [[ ${2:-} == --inside ]]; then
    run_rooms "${@:3}"
    exit
fi

rooms=()
for program in "$build"/tests/*_test; do
    room=$(basename "$program" _test)
    rooms+=("$room")
    # What fails without a fault catches none.
    "$program" --gtest_brief=1 >"$log" 2>&1 || {
        cat "$log"
        echo "$program fails without a fault." >&2
        exit 2
    }
done

for patch in tests/planted/*.patch; do
    # The fault's own room first.
    room=$(sed -n 's|^+++ b/\([a-z]*\)/.*|\1|p;T;q' "$patch")
    mapfile -t order < <(printf '%s\n' "$room" "${rooms[@]}" | awk '!seen[$0]++')
    if ! test=$(tests/with_patch.sh "$patch" "$build" bash "$0" "$build" --inside "${order[@]}"); then
        result="COULD NOT BE PLANTED"
    else
        result=${test:+caught by $test}
    fi
    echo "$(basename "$patch" .patch): ${result:-NOT CAUGHT}"
done
