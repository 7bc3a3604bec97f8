#!/usr/bin/env bash
# The scripts, on a small project in place of this one: what they print and where, who waits for whom,
# and where they work.
set -uo pipefail
export LC_ALL=C # messages as they are searched for
scripts=$(cd "$(dirname "$0")/../scripts" && pwd)
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
chmod 755 "$work"
failures=0

# expect WHAT COMMAND…: the command has to succeed.
expect() {
    local what=$1
    shift
    "$@" || { echo "FAILED: $what: $(head -c 2000 "$work/out" "$work/err")"; failures=$((failures + 1)); }
}
says() { grep -q -e "$1" "$work/err"; }
is_silent() { [ ! -s "$work/err" ]; }
prints() { [ "$(cat "$work/out")" = "$1" ]; }
run() { "$@" >"$work/out" 2>"$work/err" </dev/null; }

project="$work/a project"
mkdir -p "$project"/{util,regex,tool} "$work/elsewhere"
cp -r "$scripts" "$scripts/../CMakePresets.json" "$project"
# Linking takes its time, in which the tool can't be started.
cat >"$project/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES CXX)
add_executable(tsub tool/main.cpp)
add_custom_command(TARGET tsub POST_BUILD VERBATIM
                   COMMAND sh -c "exec 3>>\"$<TARGET_FILE:tsub>\"; sleep 0.3")
add_custom_target(quil)
add_custom_target(tsub_pages)
install(TARGETS tsub)
install(FILES CMakeLists.txt DESTINATION share/doc/tsub)
END
write_tool() {
    echo "#include <iostream>
          int main(int n, char** a) { std::cout << \"$1 \" << a[n - 1] << std::cin.rdbuf(); return 7; }" \
        >"$project/tool/main.cpp"
}

write_tool first
cd "$work/elsewhere" || exit 1
ln -s "$project/scripts/run" "$work/link"
echo input | "$work/link" argument >"$work/out" 2>"$work/err"
expect "the tool's status" [ $? -eq 7 ]
expect "the tool gets arguments and input, and alone writes to the output" prints "first argumentinput"
expect "a build tells that it goes on" says "^scripts/build: building build/release: 2 of 2$"
run "$work/link" again
expect "nothing is said where nothing is built" is_silent

write_tool second
for i in 1 2 3 4 5 6; do
    { "$work/link" $i </dev/null >"$work/out$i" 2>&1; echo " $?" >>"$work/out$i"; } &
done
wait
cat "$work"/out? >"$work/out"
expect "six at once wait for one build" [ "$(grep -c '^second [1-6] 7$' "$work/out")" -eq 6 ]

echo broken >>"$project/tool/main.cpp"
run "$work/link"
expect "no build is an error, not a run without a match" [ $? -eq 255 ]
expect "the compiler's words" says "main.cpp.*error"
write_tool third
run "$work/link"

# Installing, beside what others installed.
mkdir -p "$work/a prefix/share/doc/other"
run "$project/scripts/install" --prefix "$work/a prefix"
expect "it is installed" [ $? -eq 0 -a -x "$work/a prefix/bin/tsub" -a -e "$work/a prefix/share/doc/tsub/CMakeLists.txt" ]
expect "it tells how it is found" says "^install: add $work/a prefix/bin to PATH"
run "$project/scripts/uninstall" --prefix="$work/a prefix"
find "$work/a prefix" -mindepth 1 -printf '%P\n' | sort >"$work/out"
expect "what others installed stays, and nothing else" prints "bin
share
share/doc
share/doc/other"
run "$project/scripts/uninstall" --prefix "$work/a prefix"
expect "nothing to uninstall is an error" [ $? -ne 0 ]
expect "it says what is missing" says "nothing is noted in $work/a prefix/share/tsub/installed"
run "$project/scripts/install" --perfix "$work/a prefix"
expect "a mistyped word is refused" says "isn't known: --perfix"

# Root may write anywhere.
as_user=()
[ "$(id -u)" -ne 0 ] || as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
chmod -R a-w "$project"
run "${as_user[@]}" "$work/link" read
expect "a checkout that can only be read" prints "third read"
expect "a checkout that can only be read is no news" is_silent
chmod -R u+w "$project"

# A machine with the least of programs and an ordinary user.
mkdir "$work/bin"
for program in bash sh env grep tail sort cut mktemp; do
    ln -s "$(type -P $program)" "$work/bin"
done
printf '#!/bin/sh\necho 1000\n' >"$work/bin/id"
chmod +x "$work/bin/id"
run env PATH="$work/bin" "$project/scripts/setup" extra
expect "missing programs are an error" [ $? -ne 0 ]
expect "missing programs are named" says "missing: g++ cmake ninja-build libgtest-dev libxxhash-dev util-linux extra "
expect "the installer is missing" says "no apt-get"
ln -s "$(type -P true)" "$work/bin/apt-get"
run env PATH="$work/bin" "$project/scripts/setup"
expect "the rights are missing" says "isn't root, and there is no sudo"

# Includes that run against the order of the folders.
mkdir -p "$project"/{docs,util/low/room,util/high}
printf '```layers\nutil/low\nutil/high\n```\n```exceptions\nutil/low/x.h util/high/x.h  known\n```\n' \
    >"$project/docs/design.md"
rm "$project/tool/main.cpp"
include() { printf '#include "%s"\n' "${@:2}" >"$project/$1"; }
include util/low/x.h util/high/x.h
include util/low/room/r.h util/low/y.h
include util/high/y.h util/low/x.h
run "$project/scripts/layers"
expect "what runs one way, or is excepted, is no news" [ $? -eq 0 -a ! -s "$work/out" ]
include util/high/z.h util/low/room/r.h
include util/low/y.h util/high/y.h
include util/low/x.h util/low/room/r.h
include util/low/room/r.h util/low/z.h
run "$project/scripts/layers"
expect "includes against the order fail" [ $? -ne 0 -a ! -s "$work/err" ]
expect "they are named" prints "util/high/z.h: util/low/room/r.h: is a room of util/low
util/low/x.h: util/high/x.h: is excepted, but there is no such include
util/low/y.h: util/high/y.h: util/low stands below util/high"
printf '```layers\nutil/low\nutil/high\n```\n' >"$project/docs/design.md"
include util/low/y.h util/low/x.h
include util/high/y.h util/low/y.h
include util/low/z.h util/low/x.h
run "$project/scripts/layers"
expect "a circle fails" [ $? -ne 0 ]
expect "a circle is named" says "util/low/x.h"

[ $failures -eq 0 ]
