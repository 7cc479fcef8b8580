#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# ./camera test NAME knows every test, and by file, program and part of a name what to build and to run.
set -euo pipefail
home=$PWD
bad=0
could_not() {
    echo "$1"
    exit 2
}
# shellcheck source=tests/find.sh
. tests/find.sh

# ctest names a case with parameters by one of them, at its end.
unknown=$(ctest --test-dir "$1" -N | sed -nE 's/^ *Test +#[0-9]+: //p' | grep -v '_NOT_BUILT$' |
    sed -E 's|^([^/]*/[^/]*/).*|\1|' | sort -u | comm -23 - <(list_tests | awk '{ print $2 }' | sort -u))
[[ -z $unknown ]] || {
    echo "not found by name:"
    echo "$unknown"
    bad=1
}

# expect NAME "PROGRAM..." EXPRESSION
expect() {
    find_tests "$1"
    if [[ ${found_programs[*]} != "$2" || $found_tests != "$3" ]]; then
        echo "\"$1\" finds $found_tests in ${found_programs[*]}"
        bad=1
    fi
}
expect tests/simulator/ctl_waiting_test.cpp ctl_waiting_test '^(simulator.ctl_waiting..*)$'
expect kivo_util_random_test kivo_util_random_test '^(platform.random..*)$'
expect served_method core_test '^(core.table/served_method..*)$'
expect first_light system_test '^(system.first_light..*)$'
expect first_light.the_reply system_test '^(system.first_light.the_reply_goes_before_the_report)$'
expect table/served_method.runs core_test '^(core.table/served_method.runs_its_handler/.*)$'
expect platform.exports kivo_camwarden '^(platform.exports)$'
expect 'ctl_(goal|waiting)\.' 'ctl_goal_test ctl_waiting_test' '^(simulator.ctl_goal..*|simulator.ctl_waiting..*)$'

# expect_none NAME SENTENCE
expect_none() {
    local said
    said=$(find_tests "$1") && bad=1
    [[ $said == "$2" ]] || {
        echo "\"$1\" is answered with: $said"
        bad=1
    }
}
expect_none tikc 'No test'\''s name matches "tikc", did you mean "tick"?'
expect_none 'qqqqqq(' 'No test'\''s name matches "qqqqqq("; it may also be a file of tests/ without its ending.'
exit $bad
