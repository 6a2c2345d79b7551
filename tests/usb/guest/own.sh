# SPDX-License-Identifier: MIT
# What has to work where our own responder is the device: with public clients, and with ours. Answers the number of steps
# that did not.
. /guest/steps.sh

device=/tmp/own
phone=$device/Phone
local=/tmp/local

# number_of NAME LISTING: the number of the object with the name in what mtp-files or mtp-folders listed; fails without.
number_of() { awk -v name="$1" '/^File ID:/ { id = $3 } $1 == "Filename:" && substr($0, index($0, ":") + 2) == name { print id }' "$2" | grep .; }
lists() { number_of "$1" /tmp/said-before > /dev/null || { cat /tmp/said-before; return 1; }; }

# A file has its name once it is whole.
on_its_way() { [ -n "$(find $device/.mtp/arriving -type f -size +0)" ]; }

stopped_own() {
    kill $own
    wait $own && wait_for fails mtpservice devices
}

mkdir -p "$local"
head -c 262132 /dev/urandom > "$local/whole packets.mp3"
head -c 70000 /dev/urandom > "$local/song.mp3"
head -c 80000000 /dev/zero > "$local/large.mp3"
serve_own $device 160M

check "our responder appears" wait_for mtpservice devices
check "a person's commands do what they do on every device" as_everywhere $device media
check "mtp-detect describes it" mtp-detect
check "with its name, storages and what it can do" said 'Friendly name: Guest Player'
check "mtp-folders makes a folder" mtp-newfolder Albums 0 65537
check "which is there" test -d $phone/Albums
check "mtp-sendfile sends a file" mtp-sendfile "$local/song.mp3" song.mp3
check "byte for byte" cmp "$local/song.mp3" $phone/song.mp3
check "mtp-sendfile sends whole packets" mtp-sendfile "$local/whole packets.mp3" "whole packets.mp3"
check "byte for byte" cmp "$local/whole packets.mp3" "$phone/whole packets.mp3"
check "mtp-files lists" mtp-files
cp /tmp/said /tmp/files
check "the one" lists song.mp3
song=$(number_of song.mp3 /tmp/files)
other=$(number_of "whole packets.mp3" /tmp/files)
check "mtp-getfile fetches the other" mtp-getfile "$other" "$local/back"
check "byte for byte" cmp "$local/whole packets.mp3" "$local/back"
check "mtp-newplaylist makes a playlist" mtp-newplaylist -i "$song" -i "$other" -n Mix -s 65537 -p 0
check "mtp-playlists lists it" mtp-playlists
check "with its songs" said "whole packets"
check "mtpservice shows it" mtpservice playlist show Mix
check "with its songs" said '^2 .*/Phone/whole packets.mp3'
check "mtpservice makes a playlist" mtpservice playlist create Two Phone/song.mp3
check "mtp-playlists lists them" mtp-playlists
check "both with their song" test "$(grep -c song.mp3 /tmp/said)" = 2
check "mtp-delfile deletes" mtp-delfile -n "$song"
check "and it is gone" test ! -e $phone/song.mp3
check "an application is told of a file that appears" announced $phone/appears.txt
check "a program is killed in the middle of a transfer" killed_put "$local/large.mp3"
check "and the device goes on" mtpservice put --no-metadata --overwrite always "$local/song.mp3"
# On ours only: the foreign responder may hang for good, or leave the bus, for what such a line does to it.
check "a line that misbehaves is survived" misbehaves 300 --seed 1 --rounds 6
cat /tmp/said
check "the session over this line" \
    env GUEST_STORAGES=$device GUEST_GADGET=own timeout 400 usb_guest_tests --gtest_color=no --gtest_brief=1
tail -3 /tmp/said
check "a device that nobody serves any more is gone" stopped_own

exit $failures
