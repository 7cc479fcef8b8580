# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034,SC2154
# Which tests a NAME means, told from their sources, so that only their programs need be built. Part of ./camera test, which
# has home and could_not.

# All tests, one a line: program, test as ctest calls it, file (without ".cpp"). A test with parameters has one line for
# each set of them, ending in "/".
list_tests() {
    awk -F '[(,) ]+' '
        FNR == 1 {
            n = split(FILENAME, part, "/")
            room = part[n - 1]; stem = part[n]; sub(/\.[a-z]+$/, "", stem)
            program = room == "platform" || room == "simulator" ? stem : room "_test"
        }
        /^(TEST|TEST_F|STORY)\(/ { print program, room "." $2 "." $3, stem }
        /^TEST_P\(/ { cases[++count] = program " " room " " $2 " " $3 " " stem }
        /^INSTANTIATE_TEST_SUITE_P\(/ {
            if (NF < 3) getline # the line was too long and has been folded
            sets[program, $3] = sets[program, $3] " " $2
        }
        END {
            for (i = 1; i <= count; i++) {
                split(cases[i], c, " ")
                n = split(sets[c[1], c[3]], set, " ")
                for (j = 1; j <= n; j++) print c[1], c[2] "." set[j] "/" c[3] "." c[4] "/", c[5]
            }
        }' "$home"/tests/*/*.cpp
    local check program
    for check in "$home"/tests/project/*.sh; do
        check=$(basename "$check")
        echo "ctl project.${check%.*} $check"
    done
    for check in "$home"/docs/*.patch; do
        for program in ctl $(sed -n '/^diff /q; s/^Programs: //p' "$check"); do
            echo "$program project.$(basename "$check" .patch) $(basename "$check")"
        done
    done
    echo "kivo_camwarden platform.exports check_exports"
    echo "kivo_camwarden platform.imports check_imports"
}

# The suites, files and cases that resemble NAME, as the end of a sentence.
near_matches() { # NAME TESTS
    awk -v name="$1" '
        function distance(a, b,   i, j, d, cost, best) {
            for (j = 0; j <= length(b); j++) d[0, j] = j
            for (i = 1; i <= length(a); i++) {
                d[i, 0] = i
                for (j = 1; j <= length(b); j++) {
                    cost = substr(a, i, 1) != substr(b, j, 1)
                    best = d[i - 1, j - 1] + cost
                    if (d[i - 1, j] + 1 < best) best = d[i - 1, j] + 1
                    if (d[i, j - 1] + 1 < best) best = d[i, j - 1] + 1
                    if (i > 1 && j > 1 && substr(a, i, 1) == substr(b, j - 1, 1) &&
                        substr(a, i - 1, 1) == substr(b, j, 1) && d[i - 2, j - 2] + 1 < best) best = d[i - 2, j - 2] + 1
                    d[i, j] = best
                }
            }
            return d[length(a), length(b)]
        }
        function try(word,   far) {
            far = length(name) - length(word)
            if (word in seen || far * far * 9 > length(name) * length(name)) return
            seen[word] = 1
            far = distance(name, word)
            if (far * 3 <= length(name)) print far, word
        }
        { split($2, part, "."); try(part[2]); try(part[3]); try($3) }' <<<"$2" |
        sort -n | head -n 3 | awk '{ text = text (NR > 1 ? " or " : "") "\"" $2 "\"" }
            END { print NR ? ", did you mean " text "?" : "; it may also be a file of tests/ without its ending." }'
}

# The chosen among all tests as a regular expression, whole suites by their name alone.
as_expression() { # ALL CHOSEN
    awk '
        { suite = $2; if (split(suite, parts, ".") > 2) sub(/[^.]*$/, "", suite) }
        NR == FNR { all[suite]++; next }
        { chosen[suite]++; test = $2; sub(/\/$/, "/.*", test); tests[suite] = tests[suite] "|" test }
        END { for (suite in chosen) print chosen[suite] == all[suite] && suite ~ /\.$/ ? "|" suite ".*" : tests[suite] }
        ' <(echo "$1") <(echo "$2") | sort | paste -s -d '\0' | sed 's/^|\(.*\)/^(\1)$/'
}

# Sets found_programs and found_tests, a regular expression for ctest. NAME: a file, a program, a suite
# or else a regular expression.
found_programs=() found_tests=
find_tests() { # NAME
    local all chosen longest=40000
    all=$(list_tests)
    chosen=$(name=$(basename "$1" .cpp) awk '$3 == ENVIRON["name"] || $1 == ENVIRON["name"]' <<<"$all")
    [[ -n $chosen ]] || chosen=$(name=$1 awk -F '[ ./]' '$3 == ENVIRON["name"] || $4 == ENVIRON["name"]' <<<"$all")
    # What is no regular expression either matches nothing, which is said below.
    [[ -n $chosen ]] || chosen=$(name=$1 awk '$2 ~ ENVIRON["name"]' <<<"$all" 2>/dev/null) || chosen=
    [[ -n $chosen ]] || could_not "No test's name matches \"$1\"$(near_matches "$1" "$all")"
    found_tests=$(as_expression "$all" "$chosen")
    # ctest takes no longer ones; then all is built, so that each name is known.
    ((${#found_tests} < longest)) || found_tests=$1 chosen=$all
    mapfile -t found_programs < <(awk '{ print $1 }' <<<"$chosen" | sort -u)
}
