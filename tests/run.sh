# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154
# What ./camera test does; part of that script, which has the packages, the options, build and could_not.

fuzz_packages=(libclang-rt-14-dev)
armhf_packages=(g++-arm-linux-gnueabihf libgtest-dev:armhf libjson-c-dev:armhf libstdc++6:armhf qemu-user)

# shellcheck source=tests/find.sh
. "$home/tests/find.sh"

# Sums up what a ctest has left in its file of results.
passed=0 failed=0 skipped=0
count() { # PRESET RESULTS STATUS
    local tests failures left
    number() { grep -m 1 -o "\b$1=\"[0-9]*\"" "$2" | tr -dc 0-9; }
    tests=$(number tests "$2") failures=$(number failures "$2")
    left=$(($(number skipped "$2") + $(number disabled "$2")))
    rm -f "$2"
    (($3 == 0 || failures > 0)) || could_not "ctest broke off in build/$1."
    passed=$((passed + tests - failures - left)) failed=$((failed + failures)) skipped=$((skipped + left))
}

start_ctest() { # PRESET RESULTS ARGUMENT...
    ctest --test-dir "$home/build/$1" --output-on-failure --parallel "$(nproc)" --no-tests=ignore --output-junit "$2" \
        "${@:3}"
}

run_ctest() { # PRESET ARGUMENT...
    local results status=0
    results=$(mktemp)
    start_ctest "$1" "$results" "${@:2}" || status=$?
    count "$1" "$results" "$status"
}

# Without a sandbox the cases of whole cameras are left out.
without=() left_out=
look_for_sandbox() { # CTEST_ARGUMENT...
    local trouble
    trouble=$("$home/build/asan/simulator/ctl" check 2>&1) && return
    skipped=$(ctest --test-dir "$home/build/asan" -N -L system "$@" | sed -n 's/^Total Tests: //p')
    without=(-LE system)
    ((skipped == 0)) || left_out="$skipped cases that run a whole camera were left out: $trouble"
}

run_some() { # NAME
    find_tests "$1"
    build asan "${found_programs[@]}"
    [[ " ${found_programs[*]} " != *" "@(system_test|ctl)" "* ]] || look_for_sandbox -R "$found_tests"
    run_ctest asan -R "$found_tests" "${without[@]}"
}

# The camera's own processor, which an emulator plays.
run_armhf() { # NAME, or nothing for all
    build armhf
    run_ctest armhf ${1:+-R "$1"}
}

# Runs something beside the rest, at a low priority and in a process group of its own, which goes when the script goes.
beside=
start_beside() { # COMMAND...
    set -m
    (renice -n 19 -p "$BASHPID" >/dev/null && "$@") &
    set +m
    beside=$!
    trap 'kill -- -$beside 2>/dev/null || true' EXIT
}

build_the_rest() {
    build fuzz
    build tsan tests_with_threads
    build armhf
}

# Tests wait more than they compute: what else there is to build is built meanwhile, and the fuzzers use what is left.
run_all() {
    local fuzz_results fuzz_log fuzz_status=0
    build asan
    look_for_sandbox
    start_beside build_the_rest
    run_ctest asan "${without[@]}"
    wait "$beside" || exit 2
    fuzz_results=$(mktemp) fuzz_log=$(mktemp)
    start_beside start_ctest fuzz "$fuzz_results" >"$fuzz_log" 2>&1
    run_ctest tsan -L threads "${without[@]}"
    run_ctest armhf
    wait "$beside" || fuzz_status=$?
    cat "$fuzz_log"
    rm "$fuzz_log"
    count fuzz "$fuzz_results" "$fuzz_status"
}

# Shows that the tests notice each fault of tests/planted.
run_planted() {
    local fault
    build asan ctl room_tests
    look_for_sandbox
    [[ -z $left_out ]] || could_not "Faults are planted in a sandbox: $left_out"
    while IFS= read -r fault; do
        echo "$fault"
        if [[ $fault == *": caught by "* ]]; then
            passed=$((passed + 1))
        else
            failed=$((failed + 1))
        fi
    done < <(cd "$home" && tests/planted.sh build/asan)
    ((passed + failed)) || exit 2
}

run_tests() { # NAME
    local counts
    [[ -z $target || $target == armhf ]] ||
        could_not "There is no target \"$target\"; take armhf, or none for this machine."
    [[ $planted == no || -z $1 && -z $target ]] ||
        could_not "\"--planted\" takes no NAME and no target; it is about the whole daemon."
    exec 3>&1
    [[ $json == no ]] || exec >&2
    if [[ $planted == yes ]]; then
        need_packages "plant faults" "${run_packages[@]}" "${test_packages[@]}"
        run_planted
    elif [[ $target == armhf ]]; then
        need_packages "run the tests for armhf" "${run_packages[@]}" "${armhf_packages[@]}"
        run_armhf "$1"
    elif [[ -n $1 ]]; then
        need_packages "run the tests" "${run_packages[@]}" "${test_packages[@]}"
        run_some "$1"
    else
        need_packages "run the tests" "${run_packages[@]}" "${test_packages[@]}" "${fuzz_packages[@]}" \
            "${armhf_packages[@]}"
        run_all
    fi
    [[ -z $left_out ]] || echo "$left_out"
    ((passed + failed + skipped)) || could_not "No test's name matches \"$1\"."
    counts="$passed passed, $failed failed$( ((skipped == 0)) || echo ", $skipped skipped")"
    [[ $json == no ]] || counts="{\"passed\":$passed,\"failed\":$failed,\"skipped\":$skipped}"
    echo "$counts" >&3
    ((failed == 0)) || exit 1
    [[ -z $left_out ]] || exit 2
}
