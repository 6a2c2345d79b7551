# SPDX-License-Identifier: MIT
# The device side of the guest, for init and the scenario. Sourced.

gadget=/sys/kernel/config/usb_gadget/player

make_gadget() {
    mkdir "$gadget"
    echo 0x1D6B > "$gadget/idVendor"
    echo 0x0100 > "$gadget/idProduct"
    mkdir "$gadget/strings/0x409" "$gadget/configs/c.1" "$gadget/configs/c.1/strings/0x409" "$gadget/functions/ffs.mtp"
    echo GUEST0001 > "$gadget/strings/0x409/serialnumber"
    echo "Example Works" > "$gadget/strings/0x409/manufacturer"
    echo "Guest Player" > "$gadget/strings/0x409/product"
    ln -s "$gadget/functions/ffs.mtp" "$gadget/configs/c.1"
    mkdir -p /dev/ffs-mtp
    mount -t functionfs mtp /dev/ffs-mtp
}

start_responder() {
    umtprd > /tmp/umtprd.log 2>&1 &
    # It has described itself once its endpoints are there.
    local left=100
    while [ ! -e /dev/ffs-mtp/ep3 ] && [ $left -gt 0 ]; do usleep 100000; left=$((left - 1)); done
}

plug_in() {
    ls /sys/class/udc > "$gadget/UDC"
}

pull_out() {
    echo "" > "$gadget/UDC"
}
