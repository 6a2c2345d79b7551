# SPDX-License-Identifier: MIT
# commands.sh STORAGES OPTIONS [media]: a person's commands on a device, whatever line it hangs on. Phone and Card are its
# storages, empty and in sight as folders in STORAGES; OPTIONS, one text, chooses the device for mtpservice. Prints what
# the commands said and what was on the device then, without what differs from run to run: any device gives the text of
# commands.expected, and one that keeps metadata and playlists as well that of media.expected behind it.
set -u
storages=$1
options=$2
part=${3:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/home"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/config" XDG_DATA_HOME="$work/home/data"
cd "$work" || exit 1

# on ARGUMENT...: one command, what it says and how it ends. How many bytes a second went is the machine's affair.
on() {
    echo "\$ mtpservice $*"
    # shellcheck disable=SC2086 # the options are words
    mtpservice $options "$@" > said 2>&1
    local status=$?
    # Nor is how far it was meanwhile.
    sed -E -e '/^… /d' -e 's/ in [0-9]+:[0-9]+( \(.*\))?$//' -e 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}/DATE/g' said
    [ $status -eq 0 ] || echo "status $status"
    return $status
}

# of FOLDER: the files in it and their content, the folders that are empty, in one order everywhere.
of() {
    (cd "$1" && find . -type f ! -name '*.pla' -exec md5sum {} + && find . -mindepth 1 -type d -empty) |
        LC_ALL=C sort -k 2
}

content() { yes "$1" | head -c "$2"; }

mkdir -p tree/sub/deeper
content music 70001 > tree/song.mp3
content more 262132 > "tree/sub/whole packets.mp3" # with its header a multiple of every packet size
content picture 65524 > "tree/sub/Grüße 日本.png"
content video 300000 > tree/sub/deeper/clip.mp4
: > tree/sub/deeper/empty.jpg
content text 100 > tree/notes.txt

on put --no-metadata tree
on ls Phone
on tree Phone
on put --no-metadata --storage Card tree/song.mp3
on ls -R Card
on find --name '*P*'
on find --type image
on cat Phone/Sounds/song.mp3 | md5sum
on put --no-metadata --overwrite never tree/song.mp3
content replaced 80000 > tree/song.mp3
on put --no-metadata --overwrite always tree/song.mp3
on mkdir Phone/Books
on mkdir -p Card/Travel/2026
on mkdir Phone/Books
on mv Phone/Sounds/song.mp3 "Lied ♪.mp3"
on mv Phone/Books "Bücher"
on ls Phone Phone/Sounds
on get -r Phone/DCIM -o got
of got
on backup saved
of saved
on rm Phone/DCIM/Camera/empty.jpg
on rm -r -y Phone/Videos Phone/Bücher
on rm Phone/Sounds/missing.mp3
on ls -R Phone
on restore saved
of "$storages/Phone"
of "$storages/Card"
if [ "$part" = media ]; then
    on list --type music
    on info "Phone/Sounds/Lied ♪.mp3"
    on playlist create Mix "Phone/Sounds/Lied ♪.mp3"
    on playlist add Mix "Phone/Sounds/whole packets.mp3"
    on playlist show Mix
    on playlist rename Mix "Für unterwegs"
    on playlist list
    on playlist remove "Für unterwegs" "Phone/Sounds/Lied ♪.mp3"
    on playlist export "Für unterwegs" list.m3u8
    cat list.m3u8
    on playlist delete "Für unterwegs"
    on playlist list
fi
on rm -r -y 'Phone/*' 'Card/*' > cleared || cat cleared
