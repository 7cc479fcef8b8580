#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# with_patch.sh PATCH BUILD COMMAND... - runs COMMAND in the checkout, which is the current folder, as it would be with PATCH:
# a copy of it and of the build folder BUILD lies over the real ones in a sandbox. So ninja finds everything there built but
# what the patch changes.
set -euo pipefail
patch=$(realpath "$1") build=$(realpath --relative-to=. "$2")
shift 2
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT

# With their times, by which ninja goes; without what a ctest is writing; and without the tests' programs, which change with the
# daemon anyway.
tar --create --exclude=./build --exclude=./.git . | tar --extract --directory="$copy"
tar --create --exclude="$build"/{Testing,'tests/*_test','tests/*/*_test'} "$build" |
    tar --extract --directory="$copy"
patch --directory="$copy" --strip=1 --fuzz=0 --silent --no-backup-if-mismatch --input="$patch"
bwrap --unshare-user --dev-bind / / --bind "$copy" "$PWD" --chdir "$PWD" --die-with-parent "$@"
