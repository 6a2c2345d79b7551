# SPDX-License-Identifier: MIT
# The device side of the guest, for init and the scenarios. Sourced.

configfs=/sys/kernel/config/usb_gadget
gadget=$configfs/player

# make_gadget NAME: a device on the machine's one port, its function to be served at /dev/ffs-NAME. From here on it is the
# one that is plugged in and pulled out.
make_gadget() {
    gadget=$configfs/$1
    mkdir "$gadget"
    echo 0x1D6B > "$gadget/idVendor"
    echo 0x0100 > "$gadget/idProduct"
    mkdir "$gadget/strings/0x409" "$gadget/configs/c.1" "$gadget/configs/c.1/strings/0x409" "$gadget/functions/ffs.$1"
    echo GUEST0001 > "$gadget/strings/0x409/serialnumber"
    echo "Example Works" > "$gadget/strings/0x409/manufacturer"
    echo "Guest Player" > "$gadget/strings/0x409/product"
    ln -s "$gadget/functions/ffs.$1" "$gadget/configs/c.1"
    mkdir -p "/dev/ffs-$1"
    mount -t functionfs "$1" "/dev/ffs-$1"
}

seconds() { cut -d . -f 1 /proc/uptime; }

# wait_for COMMAND...: until it answers 0. It is tried for a minute, which on a slow machine is not too long.
wait_for() {
    local end=$(($(seconds) + 60))
    until "$@" > /dev/null 2>&1; do
        [ "$(seconds)" -lt $end ] || return 1
        usleep 100000
    done
}

# The foreign responder; it has described itself once its endpoints are there. Now and then it dies of a cable that is pulled
# while it writes, so it is started again as long as it is wanted.
start_responder() {
    touch /tmp/responder-wanted
    while [ -e /tmp/responder-wanted ]; do umtprd; usleep 100000; done > /tmp/umtprd.log 2>&1 &
    wait_for test -e /dev/ffs-player/ep3
}

# It may be about to be started again just now.
responder_is_gone() { ! pidof umtprd || { kill $(pidof umtprd); false; }; }

stop_responder() {
    rm /tmp/responder-wanted
    wait_for responder_is_gone
}

fails() { ! "$@"; }

# start_own FOLDER NAME: ours, serving the virtual device in FOLDER at /dev/ffs-NAME.
start_own() {
    mtpservice virtual serve "$1" --functionfs "/dev/ffs-$2" > "/tmp/$2.log" 2>&1 &
    own=$!
    wait_for test -e "/dev/ffs-$2/ep3"
}

# Works once the device is served.
plug_in() {
    local port=$(ls /sys/class/udc)
    wait_for sh -c "echo $port > $gadget/UDC"
}

# A responder may have left the bus by itself.
pull_out() {
    [ -z "$(cat "$gadget/UDC")" ] || echo "" > "$gadget/UDC"
}
