#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# run.sh TARGET FOLDER SECONDS - one fuzzer of the build's FOLDER for so long. It begins with the committed seeds and with
# what earlier runs have found there. An input that breaks the daemon is kept, shown, and said how to run again.
set -euo pipefail
target=$1 folder=$2 seconds=$3
found=$folder/$target.found broken=$folder/$target.broken log=$folder/$target.log
mkdir -p "$found"
rm -f "$broken" "$log"

if "$folder/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=0 -print_final_stats=1 \
    -exact_artifact_path="$broken" "$found" "fuzz/seeds/$target" >"$log" 2>&1; then
    sed -n 's/^stat::number_of_executed_units: *\([0-9]*\)/\1 inputs/p' "$log"
    exit 0
fi
tail -n 60 "$log"
if [[ -e $broken ]]; then
    echo "The input, as od shows it:"
    od -A d -c "$broken" | head -n 60
    echo "To run it again: ${folder#"$PWD/"}/fuzz_$target ${broken#"$PWD/"}"
    echo "Once mended, keep it as fuzz/seeds/$target/SOMETHING."
fi
exit 1
