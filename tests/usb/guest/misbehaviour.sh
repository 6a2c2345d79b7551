# SPDX-License-Identifier: MIT
# Ten minutes of random misbehaviour of a real line, on our responder. Run by hand:
# USB_GUEST_SECONDS=1800 tests/usb/run-guest.sh build/plain tests/usb/guest/misbehaviour.sh
. /guest/steps.sh

wait_for mtpservice devices
serve_own /tmp/own 160M
check "our responder appears" wait_for mtpservice devices
check "ten minutes of misbehaviour are survived" misbehaves 900 --seed 1000 --seconds 600
cat /tmp/said
exit $failures
