#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# changed_copy.sh PATCH BUILD - applies a patch to a copy of the checkout, which is the current folder, builds test programs
# there and runs them. The patch says which, in lines before its first "diff":
#
#   Programs: spec_test cloud_properties_test      all their cases must pass
#   Cases: *sensitivity*                           and among them must be some of this name
#
# The copy stays in BUILD/changed, so that the next time only what is new is built.
set -euo pipefail
patch=$(readlink -f "$1")
copy=$2/changed/$(basename "$patch" .patch)

header() { # NAME
    sed -n "/^diff /q; s/^$1: //p" "$patch"
}
read -ra programs < <(header Programs)
cases=$(header Cases)

# What is not tracked yet counts, what is ignored does not. The files' times are kept, for the build to go by.
sources() {
    if git rev-parse --git-dir >/dev/null 2>&1; then
        git ls-files -z --cached --others --exclude-standard | while IFS= read -rd '' file; do
            [[ ! -e $file ]] || printf '%s\0' "$file"
        done
    else
        find . -path ./build -prune -o -type f -print0
    fi
}
mkdir -p "$copy"
find "$copy" -path "$copy/build" -prune -o -type f -exec rm {} +
sources | tar --null --files-from=- --create | tar --extract --directory="$copy"
cd "$copy"
patch --quiet --strip=1 --fuzz=0 --no-backup-if-mismatch <"$patch"

cmake -S . -B build -G Ninja -DCAMERA_TESTS=ON >/dev/null
# Beside other tests, whose cameras want to be in time.
nice cmake --build build --parallel 1 --target "${programs[@]}" >build/log 2>&1 || {
    cat build/log
    exit 1
}
ran=0
for program in "${programs[@]}"; do
    program=$(find build -name "$program" -type f -perm -u+x)
    "$program" --gtest_brief=1
    ran=$((ran + $("$program" --gtest_list_tests --gtest_filter="$cases" | grep -c '^ ' || true)))
done
((ran > 0)) || {
    echo "no case matches $cases"
    exit 1
}
echo "$ran cases match $cases"
