#!/usr/bin/env bash
# full_device.sh TSUB: on devices that are full, files that would grow stay as they are, with a message,
# and those that don't grow are changed. Real ones: an ext2 in a file, and a file system in memory. They
# are mounted in a name space of its own, so that nothing is left of them; where that isn't allowed, the
# test says so and is skipped (77).
set -euo pipefail
tsub=$(readlink -f "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [ "${2:-}" != inside ]; then
    unshare --mount true 2>/dev/null && command -v mkfs.ext2 >/dev/null ||
        { echo "full_device.sh: file systems can't be mounted here"; exit 77; }
    unshare --mount "$0" "$tsub" inside
    exit
fi

fail() { echo "full_device.sh: $*" >&2; exit 1; }

try() { # NAME, in the folder of a device
    seq -f 'line %.0f has a needle in it' 20000 >long
    cp long equal
    printf 'a needle' >short
    cp long before
    cat /dev/zero >filling 2>/dev/null || true # all that is left
    sync
    ! message=$("$tsub" -f:needle '-t:very long needle' long 2>&1) || fail "$1: a file grew without room"
    cmp -s long before || fail "$1: a file that couldn't grow isn't what it was"
    [[ $message == *"file state = the old content stands"* ]] || fail "$1: not told: $message"
    "$tsub" -f:needle -t:NEEDLE equal || fail "$1: a file that keeps its length wasn't changed"
    sed 's/needle/NEEDLE/' before | cmp -s - equal || fail "$1: a file that keeps its length is wrong"
    "$tsub" -f:needle -t:pin long || fail "$1: a file that shrinks wasn't changed"
    rm filling
    "$tsub" -f:pin '-t:very long needle' long || fail "$1: with room a file didn't grow"
    sed 's/needle/very long needle/' before | cmp -s - long || fail "$1: a file that grew is wrong"
    echo "$1: nothing lost"
}

mkdir "$work/ext2" "$work/memory"
truncate -s 8M "$work/image"
mkfs.ext2 -q -b 1024 "$work/image"
mount -o loop "$work/image" "$work/ext2" 2>/dev/null || { echo "full_device.sh: no loop device here"; exit 77; }
(cd "$work/ext2" && try ext2)
mount -t tmpfs -o size=8M none "$work/memory"
(cd "$work/memory" && try tmpfs)
umount "$work/ext2" "$work/memory"
