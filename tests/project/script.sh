#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The camera script where nothing is built: it helps, refuses with a sentence, and names what it would install.
set -euo pipefail
home=$(mktemp -d)
trap 'rm -r "$home"' EXIT
mkdir "$home/tests"
cp camera "$home"
cp tests/*.sh "$home/tests"
cd "$home"
bad=0

# What a command line says and ends with: expect STATUS TEXT WORD...
expect() {
    local status=0 said
    said=$("${env[@]}" ./camera "${@:3}" 2>&1) || status=$?
    if [[ $status != "$1" || $said != *"$2"* ]]; then
        echo "./camera ${*:3} ended with $status and said: $said"
        bad=1
    fi
}

env=(env)
expect 0 "./camera run "
expect 0 "./camera run " help
expect 0 "./camera run " --help
expect 0 "./camera run " run --help
expect 2 "nothing is built yet; ./camera run does it" status
expect 2 'There is no preset "gold"' run --preset gold
expect 2 'There is no preset "gold"' run --preset=gold
expect 2 'There is no preset "gold"' with --preset gold -- ls
expect 2 '"leds" needs a camera' leds --name run
expect 2 '"test" takes one NAME' test one two
expect 2 'There is no target "mips"' test --target mips
expect 2 'There is no target "mips"' test --target=mips one
expect 2 '"test" takes no option --plantd; it takes --target armhf, --planted and --json.' test --plantd
expect 2 '"test" takes no option --preset' test one --preset=asan
expect 2 '"--planted" takes no NAME' test one --planted

# A Debian in which nothing is installed, and somebody who may not install.
mkdir bin
printf '#!/bin/sh\nexit 1\n' >bin/dpkg-query
printf '#!/bin/sh\necho 1000\n' >bin/id
printf '#!/bin/sh\nexit 1\n' >bin/apt-get
for program in bash env dirname readlink grep sed mktemp mkdir cat rm; do
    ln -s "$(command -v $program)" "bin/$program"
done
chmod +x bin/dpkg-query bin/id bin/apt-get
env=(env "PATH=$home/bin")
expect 2 "To run a camera, these packages are missing and will be installed: bubblewrap cmake espeak-ng g++" run
expect 2 "Please run as root: apt-get install bubblewrap cmake espeak-ng g++" run
expect 2 "To run the tests, these packages are missing and will be installed: bubblewrap" test
expect 2 " g++-arm-linux-gnueabihf libgtest-dev:armhf " test
expect 2 "To plant faults, these packages are missing and will be installed: bubblewrap" test --planted
expect 2 "To run the tests for armhf, these packages are missing and will be installed: bubblewrap" test --target armhf
printf '#!/bin/sh\necho 0\n' >bin/id
expect 2 "They could not be installed; apt-get install bubblewrap" run

# What stands after "--" are words of a command of its own.
expect 2 "To run a camera, these packages are missing" with -- ls --preset gold --help

# A tool that is built, and a debugger that is not installed.
mkdir -p build/release/simulator
printf '#!/bin/sh\necho "tool: $*"\n' >build/release/simulator/ctl
chmod +x build/release/simulator/ctl
expect 2 "To hold the daemon in a debugger, these packages are missing and will be installed: gdb" gdb -batch
expect 0 "tool: gdb --help" gdb --help

# A package of two architectures is installed once.
printf '#!/bin/sh\necho "installed installed "\n' >bin/dpkg-query
expect 0 "tool: gdb -batch" gdb -batch
printf '#!/bin/sh\necho "not-installed "\n' >bin/dpkg-query
expect 2 "and will be installed: gdb" gdb -batch
exit $bad
