#!/bin/sh
# SPDX-License-Identifier: MIT
# check_exports.sh NM FOLDER LIST - the stand-in libraries in FOLDER export exactly what LIST says, one "library name"
# a line in order. What a sanitizer or the coverage adds begins with two underscores and does not count.
nm=$1 folder=$2 list=$3

for library in $(cut -d ' ' -f 1 "$list" | uniq); do
    "$nm" -D --defined-only "$folder/$library.so" >/dev/null || exit 1
    "$nm" -D --defined-only "$folder/$library.so" | sed -n "s/^[0-9a-f]* [A-Za-z] /$library /p"
done | grep -v ' __' | LC_ALL=C sort | diff "$list" - && echo 'The libraries export what the contracts say.'
