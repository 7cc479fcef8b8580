#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# changed_copy.sh PATCH BUILD - what a page shows as a change, docs/PAGE.patch, is one: it applies, test programs are built with
# it and pass, and the page quotes nothing else. The patch says which, in lines before its first "diff":
#
#   Programs: spec_test cloud_properties_test      all their cases must pass
#   Cases: *sensitivity*                           and among them must be some of this name
#   Cameras: first_light.*                         if there is such a line: whole cameras with these cases, too
set -euo pipefail
patch=$1 build=$2

header() { # NAME
    sed -n "/^diff /q; s/^$1: //p" "$patch"
}

count_cases() { # PROGRAM PATTERN
    "$1" --gtest_list_tests --gtest_filter="$2" | awk '/^ / { count++ } END { print count + 0 }'
}

complain() { # SENTENCE
    echo "$1"
    exit 1
}

# In the copy that has the patch.
run_cases() {
    local programs cases cameras program ran=0
    read -ra programs < <(header Programs)
    cases=$(header Cases)
    cameras=$(header Cameras)
    # Beside other tests, whose cameras want to be in time.
    nice ninja -C "$build" -j 1 "${programs[@]}" ${cameras:+system_test} >"$build/log" 2>&1 || {
        cat "$build/log"
        exit 1
    }
    for program in "${programs[@]}"; do
        program=$(find "$build" -name "$program" -type f -perm -u+x)
        "$program" --gtest_brief=1
        ran=$((ran + $(count_cases "$program" "$cases")))
    done
    ((ran > 0)) || complain "no case matches $cases"
    echo "$ran cases match $cases"
    [[ -n $cameras ]] || return 0
    program=$build/tests/system/system_test
    (($(count_cases "$program" "$cameras") > 0)) || complain "no case matches $cameras"
    "$program" --gtest_brief=1 --gtest_filter="$cameras"
}

# The lines that the page shows as code, but for commands, and that the patch has not.
misquoted() {
    local page=${patch%.patch}.md
    comm -23 <(sed -nE 's/^    +([^ ].*)/\1/p' "$page" | grep -vE '^(\./camera|git) ' | sort -u) \
        <(sed -nE 's/^[+ ] *//p' "$patch" | sort -u)
}

if [[ ${3:-} == --inside ]]; then
    run_cases
    exit
fi
bad=$(misquoted)
[[ -z $bad ]] || complain "the page quotes what is not in the patch: $bad"
tests/with_patch.sh "$patch" "$build" bash "$0" "$patch" "$build" --inside
