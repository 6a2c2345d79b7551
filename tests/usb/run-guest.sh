#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# run-guest.sh BUILD-FOLDER [SCENARIO]: boots Debian's kernel in an emulated machine with a USB device inside it, and runs
# the scenario there with the programs of the build folder. Answers 0 when all of it passed, and 77, having said why, where
# there can be no such machine. Needs no rights of root but to install usb_packages of scripts/common.sh; the kernel's
# package is unpacked, not installed. USB_GUEST_SECONDS, USB_GUEST_MEMORY (MiB) and USB_GUEST_CPUS change its limits.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build_folder=$(cd "$1" && pwd)
work=$build_folder/usb-guest
kernels=$root/build/usb-guest-kernel
scenario=${2:-$here/guest/scenario.sh}
modules=(common/usb-common core/usbcore gadget/udc/udc-core gadget/libcomposite gadget/function/usb_f_fs
    gadget/udc/dummy_hcd ${USB_GUEST_MODULES:-})
programs=("$build_folder/tools/mtpservice" "$build_folder/tests/usb/usb_guest_tests"
    "$build_folder/tests/sdk/misbehaviour/misbehave" /usr/bin/umtprd
    /usr/bin/mtp-{connect,detect,files,folders,getfile,newfolder,newplaylist,playlists,sendfile,delfile} ${USB_GUEST_PROGRAMS:-})

converters=/usr/lib/x86_64-linux-gnu/gconv

skip() {
    say "SKIPPED: the test on real USB: $1"
    exit 77
}

# fetch_kernel: Debian's kernel package, unpacked once for all builds and kept.
fetch_kernel() {
    local package
    for kernel in "$kernels"/*/; do
        [ -e "$kernel/complete" ] && return 0
    done
    package=$(apt-cache depends linux-image-amd64 2>/dev/null | sed -n 's/^ *Depends: \(linux-image-.*\)/\1/p' | head -1) ||
        package=""
    [ -n "$package" ] || skip "no kernel for the guest, as apt knows no package linux-image-amd64"
    say "Fetching $package"
    kernel=$kernels/$package
    rm -rf "$kernel"
    mkdir -p "$kernel"
    (cd "$kernel" && timeout 300 apt-get download -qq -o APT::Sandbox::User=root "$package") ||
        skip "no kernel for the guest, as the package $package cannot be downloaded"
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

# is_packed: whether the initramfs holds all that it would be made of now.
is_packed() {
    [ -e "$work/initramfs" ] && [ "$(cat "$work/recipe" 2>/dev/null)" = "$recipe" ] &&
        [ -z "$(find -L "$here" "$scenario" "$kernel/complete" "${present[@]}" "${libraries[@]}" -newer "$work/initramfs")" ]
}

# make_root_fs: the guest's whole file system, packed as an initramfs; an older one that still holds is kept.
make_root_fs() {
    local program present=() libraries recipe="${programs[*]} ${modules[*]} $scenario $kernel"
    for program in "${programs[@]}"; do
        # A build of the program alone will do where the scenario does not run the tests.
        [ ! -e "$program" ] || present+=("$program")
    done
    mapfile -t libraries < <(ldd "${present[@]}" | grep -o '\s/[^ ]*' | sort -u | tr -d '\t ')
    is_packed && return 0
    root_fs=$work/root
    rm -rf "$root_fs"
    mkdir -p "$root_fs"/{bin,etc/umtprd,guest/lib,modules}
    cp /bin/busybox "$root_fs/bin/"
    copy_with_libraries "${present[@]}"
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
    (cd "$root_fs" && find . | cpio --quiet -o -H newc) > "$work/initramfs.new"
    rm -rf "$root_fs"
    mv "$work/initramfs.new" "$work/initramfs"
    echo "$recipe" > "$work/recipe"
}

# boot: what the guest prints, without what would clear the terminal. A guest that hangs is ended.
boot() {
    # Emulation throughout: the machine's own virtualisation hangs in some data centres. One processor is enough, and leaves
    # the kernel's test drivers fewer races of their own to lose.
    timeout -k 10 "$limit" qemu-system-x86_64 -accel tcg,thread=multi -smp "${USB_GUEST_CPUS:-1}" \
        -m "${USB_GUEST_MEMORY:-1024}" -nographic -no-reboot -nic none -kernel "$kernel"/boot/vmlinuz-* \
        -initrd "$work/initramfs" </dev/null \
        -append "console=ttyS0 quiet loglevel=2 panic=-1 no_timer_check mitigations=off tsc=unstable" |
        sed -u -e 's/\x1b\(c\|\[[?0-9;]*[A-Za-z]\)//g' -e 's/\r//g' | tee "$work/console"
}

[ "$(uname -m)" = x86_64 ] || skip "the guest is an x86_64, and this machine a $(uname -m)"
(install_packages "${usb_packages[@]}") || skip "its tools cannot be installed (${usb_packages[*]})"
mkdir -p "$work"
fetch_kernel
make_root_fs
limit=${USB_GUEST_SECONDS:-1200}
# The kernel's drivers that play the device's part have faults of their own, for which it may panic: no word on ours.
for boots_left in 2 1 0; do
    say "Booting the guest"
    boot || [ $? -ne 124 ] || echo "The guest did not end within $limit seconds." >&2
    grep -q 'Kernel panic' "$work/console" && [ $boots_left -gt 0 ] || break
    say "The guest's own kernel failed"
done
grep -q '^GUEST RESULT: 0' "$work/console" || { echo "The USB test failed; its console is in $work/console" >&2; exit 1; }
