#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# compare.sh BUILD-FOLDER: mtpservice beside Debian's mtp-tools and android-file-transfer on one device in one boot of the
# guest machine (run-guest.sh): operations and bytes on the wire, and times. Takes some ten minutes; not part of the tests.
# Build the preset `release` for it.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
install_packages "${usb_packages[@]}" android-file-transfer
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export USB_GUEST_PROGRAMS=/usr/bin/aft-mtp-cli USB_GUEST_MODULES=mon/usbmon USB_GUEST_SECONDS=${USB_GUEST_SECONDS:-1800} \
    USB_GUEST_MEMORY=2048 USB_GUEST_CPUS=2
exec "$here/run-guest.sh" "$1" "$here/guest/comparison.sh"
