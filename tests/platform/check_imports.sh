#!/bin/sh
# SPDX-License-Identifier: MIT
# check_imports.sh READELF DAEMON - the daemon finds its seven libraries by name alone, before libc, and needs json-c and libc
# beside them. What a sanitizer adds does not count.
readelf=$1 daemon=$2
dynamic=$("$readelf" --dynamic --wide "$daemon") || exit 1

if echo "$dynamic" | grep -E '\((RPATH|RUNPATH)\)'; then
    echo 'The daemon says itself where its libraries are; LD_LIBRARY_PATH should decide.'
    exit 1
fi
echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^lib(asan|ubsan|tsan)\.' | diff - /dev/fd/3 3<<EOT
libselvar.so
libselvar_share.so
libwrax.so
libwraxev.so
libcam_warden.so
libkivo_util.so
libkivo_statistics.so
libjson-c.so.5
libc.so.6
EOT
