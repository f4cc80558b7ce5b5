#!/bin/sh
# check_in_chroot.sh FOLDER - installs the packages of FOLDER, all side by side, in a new Debian 12, and tries them.
#
# Wants to be root. The new system lies in FOLDER/chroot while it is needed, and comes from where apt gets this
# machine's packages. All that is mounted is mounted in a namespace of its own: the kernel undoes it when the second
# part of this script ends, however it ends, and the folder is removed from outside, where nothing was ever mounted.
set -eu
release=bookworm
packages=$(realpath "$1")
root=$packages/chroot
sources=$(realpath "$(dirname "$0")/..")

if [ "${2:-}" != inside ]; then
    trap 'rm -rf --one-file-system "$root"' EXIT
    trap 'exit 1' HUP INT TERM
    rm -rf --one-file-system "$root"
    unshare --mount --pid --fork --kill-child --mount-proc "$0" "$packages" inside
    exit
fi

fail() {
    echo "check_in_chroot: $*"
    exit 1
}

# Runs a command whose words are of interest only if it fails.
quietly() {
    "$@" >"$packages/check.log" 2>&1 || {
        tail -n 20 "$packages/check.log"
        fail "failed: $*"
    }
}

in_chroot() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"
}

# Where apt gets this release from, and whose key has signed it.
apt-get -q update >/dev/null
# shellcheck disable=SC2016 # apt fills them in
source=$(apt-get indextargets --format '$(REPO_URI) $(SOURCESENTRY)' 'Created-By: Packages' 'Origin: Debian' \
    "Codename: $release" 'Component: main' | head -n 1)
[ -n "$source" ] || fail "apt knows no source of Debian's $release"
mirror=${source%% *}
entry=${source##* }
keyring=$(sed -nE 's/.*signed-by[=:] *(\/[^] ]+).*/\1/Ip' "${entry%:*}" | head -n 1)
keyring=${keyring:-/usr/share/keyrings/debian-archive-keyring.gpg}
eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
export http_proxy="${http_proxy:-}"

echo "Making the system"
quietly debootstrap --variant=minbase --include=ca-certificates --keyring="$keyring" "$release" "$root" "$mirror"
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"

# apt does there as it does here, but for updates: they may reach the architectures at different times, and libraries of
# two architectures can be installed side by side in equal versions only.
cp /etc/hosts /etc/resolv.conf "$root/etc"
cp "$keyring" "$root/etc/apt/keyrings/"
echo "deb [signed-by=/etc/apt/keyrings/${keyring##*/}] $mirror $release main" >"$root/etc/apt/sources.list"
apt-config dump | grep '^Acquire::' >"$root/etc/apt/apt.conf.d/99machine"

echo "Installing the packages"
mkdir "$root/packages" "$root/check"
cp "$packages"/*.deb "$root/packages"
in_chroot dpkg --add-architecture i386
quietly in_chroot apt-get -q update
quietly in_chroot sh -c 'apt-get -q install -y --no-install-recommends g++ gcc-multilib pkgconf man-db /packages/*.deb'

echo "Trying them"
cp "$sources/packaging/check_installed.sh" "$sources/samples/s09_tilt_receipt_8.bmp" \
    "$sources/tests/golden/dark8_upright.bmp" "$root/check"
in_chroot /check/check_installed.sh
rm "$packages/check.log"
