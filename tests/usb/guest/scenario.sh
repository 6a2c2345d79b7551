# SPDX-License-Identifier: MIT
# What has to work on the device that is plugged into the guest. Answers the number of steps that did not.
. /guest/steps.sh

phone=/storages/Phone
local=/tmp/local

on_its_way() { [ -n "$(find $phone -name "$(basename "$1")" -size +0)" ]; }

# cancelled_put FILE: a put that a person stops while its bytes are on the way.
# Another program that wants the device meanwhile is told who has it.
cancelled_put() {
    mtpservice put --no-metadata "$1" &
    local job=$!
    wait_for on_its_way "$1" || return 1
    mtpservice storages > /tmp/refused 2>&1
    kill $job # as Ctrl-C, which a shell like this one keeps from what it runs beside itself
    wait $job
    [ -z "$(find $phone -name "$(basename "$1")")" ]
}

# torn_put FILE: the cable is pulled while its bytes are on the way. The program has to notice, and end, long before the
# bounds of its calls.
torn_put() {
    mtpservice put --no-metadata "$1" &
    local job=$!
    wait_for on_its_way "$1" || return 1
    pull_out
    local began=$(seconds)
    fails wait $job && [ $(($(seconds) - began)) -lt 40 ]
}

# watched: whether a person who watches sees the device come, go and come again.
watched() {
    mtpservice devices --watch > /tmp/watched 2>&1 &
    local watcher=$!
    wait_for grep -q '^attached  1100000  ' /tmp/watched && pull_out &&
        wait_for grep -q '^detached  1100000  ' /tmp/watched && plug_in &&
        wait_for sh -c '[ $(grep -c ^attached /tmp/watched) = 2 ]'
    local status=$?
    kill $watcher
    wait $watcher && return $status
}

check "the device appears" wait_for mtpservice devices
echo "        it works $(cut -d . -f 1 /proc/uptime) seconds after the kernel began"
mkdir -p "$local/tree/sub" "$local/back"
head -c 70000 /dev/urandom > "$local/tree/song.mp3"
head -c 262132 /dev/urandom > "$local/tree/whole packets.jpg"
head -c 65536 /dev/urandom > "$local/tree/sub/Grüße 日本.png"
head -c 12000000 /dev/urandom > "$local/card-cannot.jpg"
head -c 120000000 /dev/zero > "$local/large.mp3"

check "the device is listed" mtpservice devices
check "with its location and name" said '^1100000 .*Guest Player.*GUEST0001.*usb 1-1'
check "storages are listed" mtpservice storages
check "with the labels that a person knows" said 'Phone.*160 MiB'
check "it describes itself" mtpservice devices --verbose
check "with what it can do" said 'SendObjectInfo'
check "nothing keeps it from being used" mtpservice doctor
check "a person's commands do what they do on every device" as_everywhere /storages
check "a mixed tree is sent" mtpservice put --no-metadata "$local/tree"
check "the default folders were made" test -d $phone/DCIM/Camera -a -d $phone/Sounds -a -d $phone/Videos -a -d $phone/Playlists
check "music is whole" cmp "$local/tree/song.mp3" $phone/Sounds/song.mp3
check "a length of whole packets is whole" cmp "$local/tree/whole packets.jpg" "$phone/DCIM/Camera/whole packets.jpg"
check "a name in other scripts is kept" cmp "$local/tree/sub/Grüße 日本.png" "$phone/DCIM/Camera/Grüße 日本.png"
check "a folder is fetched" mtpservice get -r Phone/DCIM -o "$local/back"
check "byte for byte" cmp "$local/tree/whole packets.jpg" "$local/back/DCIM/Camera/whole packets.jpg"
check "with its names" cmp "$local/tree/sub/Grüße 日本.png" "$local/back/DCIM/Camera/Grüße 日本.png"
check "a file is deleted" mtpservice rm "Phone/DCIM/Camera/whole packets.jpg"
check "and gone" test ! -e "$phone/DCIM/Camera/whole packets.jpg"
check "a storage that is full refuses" fails mtpservice put --no-metadata --storage Card "$local/card-cannot.jpg"
check "and says so" said 'full'
check "and keeps nothing of it" test -z "$(find /storages/Card -type f)"
check "cancelling leaves nothing of the file under way" cancelled_put "$local/large.mp3"
check "who holds a device is told" grep 'Another program is using "Guest Player": mtpservice (process' /tmp/refused
check "and the device goes on" mtpservice put --no-metadata --overwrite always "$local/tree/sub"
check "a program is killed in the middle of a transfer" killed_put "$local/large.mp3"
check "and the device goes on" mtpservice put --no-metadata --overwrite always "$local/tree/sub"
ln "$local/large.mp3" "$local/torn.mp3" # of the one before a part may still be there
check "pulling the cable ends the transfer" torn_put "$local/torn.mp3"
check "and nothing is attached" fails mtpservice devices
plug_in
check "plugged in, it is back" wait_for is_back
check "and works" mtpservice put --no-metadata --overwrite always "$local/tree/sub"
rm -rf "$local"
check "a person who watches sees it go and come" watched
check "the session over this line" timeout 400 usb_guest_tests --gtest_color=no --gtest_brief=1
tail -3 /tmp/said

sh /guest/own.sh
exit $((failures + $?))
