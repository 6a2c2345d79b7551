# SPDX-License-Identifier: MIT
# More than 4 GiB to and from both responders. Run by hand, since it takes long and much memory:
# USB_GUEST_MEMORY=8192 USB_GUEST_SECONDS=3600 tests/usb/run-guest.sh build/plain tests/usb/guest/large.sh
. /guest/steps.sh

device=/tmp/own
export GUEST_LARGE=1
whole=--gtest_filter=*FourGibibytes*

wait_for mtpservice devices
mount -o remount,size=5g /storages/Phone
check "a foreign responder" usb_guest_tests --gtest_color=no $whole
cat /tmp/said
pull_out
stop_responder
umount /storages/Phone
mtpservice virtual create $device --name "Guest Player" --storage Phone:8G --storage Card:8M > /dev/null 2>&1
make_gadget own
start_own $device own
plug_in
check "ours" env GUEST_STORAGES=$device GUEST_GADGET=own usb_guest_tests --gtest_color=no $whole
cat /tmp/said
exit $failures
