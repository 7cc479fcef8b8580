#!/bin/sh
# SPDX-License-Identifier: MIT
# speak.sh TABLE VOICE COLUMN FOLDER - speaks the prompts of TABLE into WAV files of FOLDER, called as they are there.
# COLUMN: 1 English, 2 German.
set -eu
table=$1 voice=$2 column=$3 folder=$4

mkdir -p "$folder"
sed -n 's/^\([A-Za-z0-9_]*\) = \(.*\) | \(.*\)$/\1|\2|\3/p' "$table" | while IFS='|' read -r name english german; do
    case $column in
    1) text=$english ;;
    2) text=$german ;;
    esac
    # The text is UTF-8 (-b 1). Into a file and not a pipe: only so does the head of the WAV file tell its real size.
    espeak-ng -b 1 -v "$voice" -w "$folder/.new" "$text"
    mv "$folder/.new" "$folder/$name"
done
