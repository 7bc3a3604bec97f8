#!/usr/bin/env bash
# check.sh: makes the Debian packages, lets lintian look at them, and installs, uses and removes them in
# a bare Debian of its own, where nothing may be left behind. Where there is no right to make one, or no
# network to fetch it from, the last part is skipped, and that is said.
set -Eeuo pipefail
trap 'echo "FAILED: $0: line $LINENO" >&2' ERR
cd "$(dirname "$(readlink -f "$0")")/../.."
scripts/setup --needed-only lintian mmdebstrap

mapfile -t packages < <(scripts/package)
lintian --allow-root --fail-on error "${packages[@]}"

skip() { echo "SKIPPED: installing the packages in a bare Debian: $1"; exit 0; }
[ "$(id -u)" -eq 0 ] || skip "making one takes root"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
bare=$work/bare
mmdebstrap --variant=apt --include=g++,pkg-config bookworm "$work/bare.tar" >"$work/log" 2>&1 ||
    skip "mmdebstrap says $(tail -n 1 "$work/log")"
mkdir "$bare"
tar -C "$bare" -xf "$work/bare.tar" --exclude='./dev/*'
chroot "$bare" true || skip "chroot isn't possible here"

inside() { chroot "$bare" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"; }
# All files but what the installer notes of any package.
listing() { (cd "$bare" && find . -path ./var/log -prune -o -path ./var/cache -prune -o \
    -path './var/lib/dpkg/*-old' -prune -o -type f -printf '%p %s\n' -o -printf '%p\n' |
    grep -v '^./var/lib/dpkg/\(status\|lock\)' | sort); }

listing >"$work/before"
mkdir "$bare/mnt/packages"
cp "${packages[@]}" tests/installed/main.cpp "$bare/mnt/packages"
inside sh -c 'dpkg -i /mnt/packages/*.deb' >/dev/null

printf '\xC4\xE3\xBA\xC3\n' >"$bare/mnt/hello.txt"
inside sh -c 'cd /mnt && tsub hello.txt -any --from-code=gbk --to-code=utf-8' || [ $? -eq 1 ]
[ "$(cat "$bare/mnt/hello.txt")" = 你好 ]
inside test -e /usr/share/man/man1/tsub.1.gz
inside sh -c 'cd /mnt && g++ -std=c++20 packages/main.cpp $(pkg-config --cflags --libs quil) -o user && ./user'

rm -r "$bare"/mnt/*
inside dpkg --purge tsub libquil-dev >/dev/null
listing >"$work/after"
diff "$work/before" "$work/after"
echo "installed, used and removed in a bare Debian: $(printf '%s ' "${packages[@]##*/}")"
