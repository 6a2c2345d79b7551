# SPDX-License-Identifier: MIT
# mtpservice, mtp-tools (libmtp) and aft-mtp-cli side by side on the device that is plugged in. Every time is the best of
# two, the clients taking turns; operations and bytes are those of one run, counted on the wire (usbmon).
. /guest/steps.sh
. /guest/comparison-clients.sh

phone=/storages/Phone
files=/tmp/files
clients="ours libmtp aft"
mount -t debugfs none /sys/kernel/debug
mount -o remount,size=1200m $phone
wire=/sys/kernel/debug/usb/usbmon/1u
rounds=2
# With events, the responder waits for good for a client that does not listen to them, as mtp-tools do not.
echo "no_inotify 0x1" >> /etc/umtprd/umtprd.conf

now() { cut -d " " -f 1 /proc/uptime | tr -d .; }

# as_before WHAT: the device and the computer as they were. The responder begins anew, since nobody tells it of
# files that go.
as_before() {
    pull_out
    stop_responder
    case $1 in
        send*) find $phone -name '*.mp3' -exec rm -f {} + ;;
        get) rm -rf /tmp/got && mkdir /tmp/got ;;
    esac
    rm -rf /root/.local /root/Library /root/Music
    umount /dev/ffs-player
    mount -t functionfs player /dev/ffs-player
    start_responder
    plug_in
    wait_for test -e /sys/bus/usb/devices/1-1:1.0
}

# run CLIENT WHAT ARGUMENT...
run() {
    local job=${2%%_*}_$1
    shift 2
    timeout 120 sh -c ". /guest/comparison-clients.sh; $job \"\$@\"" - "$@" < /dev/null > /tmp/output 2>&1
}

# done_well WHAT: whether it did what it had to do.
done_well() {
    case $1 in
        send_small) [ "$(find $phone -name '*.mp3' -size 64k | wc -l)" = "$count" ] ;;
        send_large) cmp -s $files/large.mp3 "$(find $phone -name large.mp3)" ;;
        get) cmp -s $files/large.mp3 /tmp/got/large.mp3 ;;
        list) grep -q 19-99 /tmp/output ;;
    esac
}

# timed ROW WHAT ARGUMENT...: the row of the table with everybody's best time, in seconds.
timed() {
    local row=$1 what=$2 round client
    shift 2
    local count=$#
    for client in $clients; do eval "best_$client=999999"; done
    for round in $(seq "$rounds"); do
        for client in $clients; do
            as_before "$what"
            local began=$(now)
            run "$client" "$what" "$@"
            local took=$(($(now) - began))
            done_well "$what" || { echo "$client did not do it: $row"; tail -15 /tmp/output; tail -5 /tmp/umtprd.log; took=999998; }
            eval "[ $took -ge \$best_$client ] || best_$client=$took"
        done
    done
    echo "$best_ours $best_libmtp $best_aft" | awk -v row="$row" '
        function seconds(value) { return value == "-" ? "-" : sprintf("%.2f s", value / 100) }
        function ratio(value) { return value == "-" ? "-" : sprintf("%.2f", $1 / value) }
        { printf "TIME | %s | %s | %s | %s | %s | %s |\n", row, seconds($1), seconds($2), seconds($3), ratio($2), ratio($3) }'
}

# counted ROW WHAT ARGUMENT...: the row with everybody's operations and bytes.
counted() {
    local row=$1 what=$2 client
    shift 2
    local count=$#
    printf 'WIRE | %s |' "$row"
    for client in $clients; do
        as_before "$what"
        cat $wire > /tmp/wire &
        local reader=$!
        run "$client" "$what" "$@"
        usleep 300000
        kill $reader
        done_well "$what" || { echo "$client did not do it: $row"; tail -3 /tmp/output; }
        awk '$3 == "S" && $4 ~ /^Bo/ && $7 == "=" && $6 >= 12 && $6 <= 32 && substr($9, 1, 4) == "0100" { operations++; codes = codes " " substr($9, 7, 2) substr($9, 5, 2) }
             $3 == "C" && $4 ~ /^B/ { bytes += $6 }
             END { printf " %d (%.1f KiB) |", operations, bytes / 1024; print codes > "/tmp/codes-'$client'" }' /tmp/wire
    done
    echo
    for client in $clients; do echo "        $client:$(cat /tmp/codes-$client)"; done
}

mkdir -p $files/small
small=200
# mtp-tools take a name that begins with a digit for a folder's number.
for i in $(seq $small); do head -c 65536 /dev/urandom > $files/small/f$((1000 + i)).mp3; done
for i in $(seq 10); do cp $files/small/f$((1000 + i)).mp3 $files/; done
head -c 67108864 /dev/urandom > $files/large.mp3
wait_for mtpservice devices
# The folders of the kinds are made once, by whoever sends first.
mtpservice put --no-metadata $files/f1001.mp3 > /dev/null 2>&1

echo "TIME | what | mtpservice | mtp-tools | aft-mtp-cli | of mtp-tools | of aft-mtp-cli |"
timed "opening, nothing on the device" open
timed "sending $small files of 64 KiB" send_small $files/small/*
timed "sending a file of 64 MiB" send_large $files/large.mp3
cp $files/large.mp3 $phone/Sounds/
as_before list
large=$(mtp-files 2> /dev/null | awk '/^File ID:/ { id = $3 } $2 == "large.mp3" { print id }')
export large
timed "getting it" get
rm $phone/Sounds/*

for folder in $(seq 0 19); do
    mkdir -p $phone/Many/$folder
    for i in $(seq 0 99); do : > $phone/Many/$folder/$folder-$i.mp3; done
done
timed "listing 2,000 files in 20 folders" list
timed "opening, 2,000 objects on the device" open

echo "WIRE | what | mtpservice | mtp-tools | aft-mtp-cli |"
counted "opening, 2,000 objects on the device" open
counted "listing them" list
counted "sending 1 file of 64 KiB" send_small $files/f1001.mp3
counted "sending 10 files of 64 KiB" send_small $files/f10??.mp3

for folder in $(seq 0 49); do
    mkdir -p $phone/More/$folder
    (cd $phone/More/$folder && seq 1000 | xargs touch)
done
# The others read all objects of the device when they open it, or may; an hour of emulation is not worth knowing it.
clients=ours
best_libmtp=- best_aft=-
timed "opening, 50,000 objects on the device (mtpservice alone)" open
counted "opening, 50,000 objects on the device (mtpservice alone)" open
