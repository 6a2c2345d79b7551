#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# run-guest.sh BUILD-FOLDER: boots Debian's kernel in an emulated machine with a USB device inside it, and runs the
# scenario there with the programs of the build folder. Answers 0 when all of it passed. Needs no rights of root; the
# packages are those of usb_packages in scripts/common.sh, and the kernel's is unpacked, not installed.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build_folder=$(cd "$1" && pwd)
work=$build_folder/usb-guest
scenario=${2:-$here/guest/scenario.sh}
modules=(common/usb-common core/usbcore gadget/udc/udc-core gadget/libcomposite gadget/function/usb_f_fs
    gadget/udc/dummy_hcd ${USB_GUEST_MODULES:-})
programs=("$build_folder/tools/mtpservice" "$build_folder/tests/usb/usb_guest_tests"
    "$build_folder/tests/sdk/misbehaviour/misbehave" /usr/bin/umtprd
    /usr/bin/mtp-{connect,detect,files,folders,getfile,newfolder,newplaylist,playlists,sendfile,delfile} ${USB_GUEST_PROGRAMS:-})

converters=/usr/lib/x86_64-linux-gnu/gconv

# fetch_kernel: Debian's newest kernel package, unpacked beside the guest.
fetch_kernel() {
    local package
    package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-.*\)/\1/p' | head -1)
    [ -n "$package" ] || { echo "No package linux-image-amd64 is known here; is this Debian?" >&2; return 1; }
    kernel=$work/kernel/$package
    [ -e "$kernel/complete" ] && return 0
    say "Fetching $package"
    mkdir -p "$kernel"
    (cd "$kernel" && apt-get download -qq -o APT::Sandbox::User=root "$package")
    dpkg-deb --fsys-tarfile "$kernel"/*.deb | tar -x -C "$kernel" --wildcards './boot/vmlinuz*' \
        './lib/modules/*/kernel/drivers/usb/*' './lib/modules/*/kernel/fs/configfs/*'
    rm "$kernel"/*.deb
    touch "$kernel/complete"
}

# copy_with_libraries FILE...: programs without their symbols, and every library that they load, in one folder.
copy_with_libraries() {
    local file library place
    for file in "$@"; do
        strip -o "$root_fs/bin/$(basename "$file")" "$file"
        while read -r library; do
            case $library in
                /lib64/ld-*) place=$root_fs$library ;;
                *) place=$root_fs/guest/lib/$(basename "$library") ;;
            esac
            [ -e "$place" ] && continue
            mkdir -p "$(dirname "$place")"
            strip -o "$place" "$library" 2>/dev/null || cp -L "$library" "$place"
        done < <(ldd "$file" | grep -o '/[^ ]*')
    done
}

# make_root_fs: the guest's whole file system, packed as an initramfs.
make_root_fs() {
    root_fs=$work/root
    rm -rf "$root_fs"
    mkdir -p "$root_fs"/{bin,etc/umtprd,guest/lib,modules}
    cp /bin/busybox "$root_fs/bin/"
    local program
    for program in "${programs[@]}"; do
        # A build of the program alone will do where the scenario does not run the tests.
        [ ! -e "$program" ] || copy_with_libraries "$program"
    done
    # What the public clients' texts are converted with.
    mkdir -p "$root_fs$converters"
    cp "$converters"/{UTF-16.so,gconv-modules.cache} "$root_fs$converters"
    cp "$here"/guest/*.sh "$here"/commands.sh "$here"/*.expected "$root_fs/guest/"
    cp "$scenario" "$root_fs/guest/scenario.sh"
    cp "$here/guest/umtprd.conf" "$root_fs/etc/umtprd/"
    install -m 755 "$here/guest/init" "$root_fs/init"
    local module
    cp "$kernel"/lib/modules/*/kernel/fs/configfs/configfs.ko "$root_fs/modules/"
    echo configfs.ko > "$root_fs/modules/order"
    for module in "${modules[@]}"; do
        cp "$kernel"/lib/modules/*/kernel/drivers/usb/"$module".ko "$root_fs/modules/"
        basename "$module".ko >> "$root_fs/modules/order"
    done
    (cd "$root_fs" && find . | cpio --quiet -o -H newc) > "$work/initramfs"
}

boot() {
    # Emulation throughout: the machine's own virtualisation hangs in some data centres.
    timeout "${USB_GUEST_SECONDS:-600}" qemu-system-x86_64 -accel tcg,thread=multi -m "${USB_GUEST_MEMORY:-1024}" -nographic -no-reboot \
        -nic none -kernel "$kernel"/boot/vmlinuz-* -initrd "$work/initramfs" \
        -append "console=ttyS0 quiet panic=-1 no_timer_check mitigations=off tsc=unstable" </dev/null | tee "$work/console"
}

mkdir -p "$work"
fetch_kernel
make_root_fs
say "Booting the guest"
boot || true
grep -q '^GUEST RESULT: 0' "$work/console" || { echo "The USB test failed; its console is in $work/console" >&2; exit 1; }
