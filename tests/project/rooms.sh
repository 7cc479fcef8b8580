#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Includes run one way: down the rooms, and never between the daemon and the virtual camera, of which the daemon knows nothing.
set -euo pipefail
bad=0
complain() { # FILE:LINE:TEXT...
    [[ -z $1 ]] || {
        echo "$2:"
        echo "$1"
        bad=1
    }
}
# Whoever is below somebody may not include their headers; kit.h is for all.
forbid() { # ROOM HEADERS...
    local room=$1 above
    shift
    [[ -d $room ]] || return 0
    for above in "$@"; do
        complain "$(grep -rn "#include \"$above/" "$room" | grep -v '"core/kit.h"' || [[ $? == 1 ]])" "$room includes $above"
    done
}
forbid util store sound handlers modules spec motor core simulator
forbid store sound handlers modules spec motor core simulator
forbid sound handlers modules spec motor core simulator
forbid handlers modules spec motor core simulator
forbid modules core simulator
forbid spec core simulator
forbid motor core simulator
forbid core simulator
forbid platform util store sound handlers modules spec motor core simulator

# The daemon is the same on a camera, on a desk and in a test.
find_in_daemon() { # PATTERN
    grep -rnE "$1" core handlers spec store sound motor modules util || [[ $? == 1 ]]
}
complain "$(find_in_daemon '^\s*#\s*(if|ifdef|ifndef|elif|else)\b')" "the daemon is compiled in different ways"
complain "$(find_in_daemon '\b(secure_)?getenv\b|\benviron\b|\bargv\b')" "the daemon takes an option or a variable"

# The virtual camera has a store/ of its own.
while read -r header; do
    complain "$(grep -rn "#include \"$header\"" simulator)" "the virtual camera includes a header of the daemon"
done < <(grep -rhoE '#include "(core|handlers|spec|store|sound|motor|modules|util)/[^"]*' simulator | cut -d '"' -f 2 |
    sort -u | while read -r header; do [[ -e simulator/$header ]] || echo "$header"; done)
exit $bad
