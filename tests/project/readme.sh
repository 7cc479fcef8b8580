#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# README's two commands are the script's, every command that a page shows exists, and every room and page it names is there.
set -euo pipefail
tool=$1/simulator/ctl
bad=0
complain() {
    echo "$1"
    bad=1
}

block=$(awk '/^```/ { open = !open; if (!open) exit; next } open && /camera/' <(sed -n '/^## Two commands/,$p' README.md))
[[ $block == $'./camera run\n./camera test' ]] || complain "README's first commands are not the two: $block"

help=$("$tool" help)
unbuilt=$(mktemp -d)
cp camera "$unbuilt"
short=$("$unbuilt/camera" help)
rm -r "$unbuilt"
for command in run test; do
    grep -q "^  $command " <<<"$help" || complain "the tool has no command $command"
    grep -q "^./camera $command " <<<"$short" || complain "the script's own help lacks $command"
done

while read -r page command; do
    grep -qE "^  ([a-z]+ )?$command( |$)" <<<"$help" || complain "$page shows ./camera $command, which is no command"
done < <(grep -oHE '\./camera [a-z]+' README.md CONTRIBUTING.md docs/*.md | sed 's|:./camera| |' | sort -u)

while read -r path; do
    [[ -e $path ]] || complain "README names $path, which is not there"
done < <(grep -oP '\x60[a-z]+/[a-z/]*\x60|\]\([A-Za-z/.-]+\)' README.md | tr -d '\140])(' | sort -u)
exit $bad
