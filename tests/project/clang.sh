#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The second compiler takes the daemon and the virtual camera without a warning too.
set -euo pipefail
folder=build/fuzz
exec 9>"$folder.lock"
flock 9
[[ -e $folder/build.ninja ]] || cmake --preset fuzz >/dev/null
cmake --build "$folder"
