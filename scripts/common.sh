# SPDX-License-Identifier: MIT
# Shared by run, test and .ci/run: saying what happens, and installing what is missing. Sourced by bash.

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++ cmake ninja-build pkg-config libicu-dev libxml2-dev libfmt-dev libsqlite3-dev libusb-1.0-0-dev
    nlohmann-json3-dev libtag1-dev libmediainfo-dev libcli11-dev)
test_packages=(libgtest-dev clang clang-format clang-tidy libclang-rt-14-dev)
# Of ./test usb: an emulated machine and what runs in it.
usb_packages=(qemu-system-x86 busybox-static umtp-responder mtp-tools cpio binutils)

say() { printf '\033[1m==> %s\033[0m\n' "$*"; }

# install_packages NAME...: installs what is missing from Debian's packages; asks nothing, does nothing when all is there.
install_packages() {
    local missing=() package
    for package in "$@"; do
        if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "Installing from Debian's packages: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Run this once as root, or install sudo: packages are missing." >&2; exit 1; }
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build PRESET [cmake option...]: configures when needed and builds, quietly unless something is wrong.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    (cd "$root" && cmake --preset "$preset" "$@" --log-level=WARNING >/dev/null && cmake --build --preset "$preset" -- --quiet)
}
