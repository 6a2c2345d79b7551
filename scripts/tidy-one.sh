#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# tidy-one.sh HEADERS-DIGEST FILE: clang-tidy for one file, unless the file and all headers are as they were when it was
# last clean.
set -euo pipefail
mkdir -p build/tidy/clean
stamp="build/tidy/clean/$(printf '%s' "$2" | tr '/' '_')"
digest="$1 $(sha1sum <"$2")"
[ "$(cat "$stamp" 2>/dev/null)" = "$digest" ] && exit 0
if ! output=$(clang-tidy --quiet -p build/tidy --extra-arg=-Wno-unknown-warning-option "$2" 2>/dev/null); then
    printf '%s\n' "$output"
    exit 1
fi
printf '%s' "$digest" >"$stamp"
