#!/usr/bin/env bash
# check.sh BUILD: what is installed from that build serves others: every public header compiles with
# nothing but what is installed, a program is linked by the CMake package and by pkg-config, from a
# folder that the tree was moved to. A shared library shows nothing but what the public headers declare.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset CXXFLAGS LDFLAGS

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
prefix=$work/moved
"$prefix/bin/tsub" --version | head -n 1

pc=$(find "$prefix" -name quil.pc)
export PKG_CONFIG_PATH=${pc%/*} LD_LIBRARY_PATH=${pc%/*/*}
read -ra flags <<<"$(pkg-config --cflags quil)"
read -ra libraries <<<"$(pkg-config --static --libs quil)"

# Each header by itself, and then all in one source, which is what would run into a name used twice.
(cd "$prefix/include/quil" && find . -name '*.h' -printf '#include "%P"\n' | sort) >"$work/all.cpp"
cp "$here/main.cpp" "$work"
cat "$work/all.cpp" "$work/main.cpp" >"$work/program.cpp"
"${CXX:-c++}" -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Werror "${flags[@]}" "$work/program.cpp" \
    -o "$work/program" "${libraries[@]}"
"$work/program"

cp "$here/CMakeLists.txt" "$work"
cmake -S "$work" -B "$work/user" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/user" >/dev/null
"$work/user/user"

for library in "$build"/libquil.so.*.*.*; do
    [ -e "$library" ] || continue # a static one
    readelf -d "$library" | grep -o 'soname: .*'
    nm -DC --defined-only "$library" >"$work/symbols"
    ! grep -v 'Quil::' "$work/symbols"
    ! grep -F Quil::IMPL::engine "$work/symbols"
done
