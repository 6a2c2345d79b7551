#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# tidy-one.sh FILE: clang-tidy for one source, unless it and every file of the project that it includes are as they were when
# it was last clean. Run from the project's folder, with build/tidy configured.
set -euo pipefail
mkdir -p build/tidy/clean
stamp="build/tidy/clean/$(printf '%s' "$1" | tr '/' '_')"

# The compiler itself says what the source includes.
command=$(sed -nE 's|^ *"command": "(.* -c [^ ]*/'"${1//./\\.}"')",$|\1|p' build/tidy/compile_commands.json | sed 's/\\"/"/g')
[ -n "$command" ] || { echo "$1 belongs to no target" >&2; exit 1; }
root=$PWD
included=$(cd build/tidy && eval "${command% -o *} -MM $root/$1" | tr -d '\\' | tr ' ' '\n' | grep -F "$root/" | sort)
digest=$(cat .clang-tidy tests/.clang-tidy $included | sha1sum)
[ "$(cat "$stamp" 2>/dev/null)" = "$digest" ] && exit 0
if ! output=$(clang-tidy --quiet -p build/tidy --extra-arg=-Wno-unknown-warning-option "$1" 2>/dev/null); then
    printf '%s\n' "$output"
    exit 1
fi
printf '%s' "$digest" >"$stamp"
