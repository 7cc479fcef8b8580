#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# clang-tidy has nothing to say about the daemon; .clang-tidy has its checks. For another file: tidy.sh BUILD FILE...
set -euo pipefail
folder=build/fuzz
shift
files=("$@")
((${#files[@]})) || files=({core,handlers,spec,store,sound,motor,modules,util}/*.cpp)

exec 9>"$folder.lock"
flock 9
[[ -e $folder/build.ninja ]] || cmake --preset fuzz >/dev/null
exec 9>&-
printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -n 4 nice clang-tidy -p "$folder" --quiet 2>/dev/null
