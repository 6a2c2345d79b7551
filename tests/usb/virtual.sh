# SPDX-License-Identifier: MIT
# virtual.sh MTPSERVICE: whether a person's commands on a virtual device do and say what commands.expected and
# media.expected hold, as they have to on every other device.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
PATH=$(cd "$(dirname "$1")" && pwd):$PATH
mtpservice virtual create "$folder/device" --name "Guest Player" --storage Phone:160M --storage Card:8M
sh "$here/commands.sh" "$folder/device" "--virtual $folder/device" media > "$folder/transcript" 2>&1
cat "$here/commands.expected" "$here/media.expected" | diff - "$folder/transcript"
