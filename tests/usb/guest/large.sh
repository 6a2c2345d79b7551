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
serve_own $device 8G
umount /storages/Phone
check "ours" env GUEST_STORAGES=$device GUEST_GADGET=own usb_guest_tests --gtest_color=no $whole
cat /tmp/said
exit $failures
