# SPDX-License-Identifier: MIT
# The clients' ways to do the same thing. libmtp's program does all it is told in one session; so does the other.
open_ours() { mtpservice storages; }
open_libmtp() { mtp-connect --help; }
open_aft() { aft-mtp-cli storage-list; }

list_ours() { mtpservice ls -R; }
list_libmtp() { mtp-files; }
list_aft() { aft-mtp-cli ls-r; }

# Each into the folder that it takes to; libmtp's program knows the root only.
send_ours() { mtpservice put --no-metadata "$@"; }
send_libmtp() {
    local arguments=""
    for file in "$@"; do arguments="$arguments --sendfile $file $(basename "$file")"; done
    mtp-connect $arguments
}
send_aft() {
    for file in "$@"; do echo "put \"$file\" /Sounds"; done > /tmp/commands
    aft-mtp-cli -f /tmp/commands
}

get_ours() { mtpservice get Phone/Sounds/large.mp3 -o /tmp/got; }
get_libmtp() { mtp-connect --getfile "$large" /tmp/got/large.mp3; }
get_aft() { (cd /tmp/got && aft-mtp-cli "get /Sounds/large.mp3"); }
