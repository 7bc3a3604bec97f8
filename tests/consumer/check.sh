#!/usr/bin/env bash
# check.sh: the library as a folder of another project, by another compiler where there is one, and
# the project by itself without a preset.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$(dirname "$here")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset CXXFLAGS CMAKE_BUILD_TYPE
export LC_ALL=C # messages as they are searched for

other=$(command -v clang++ || command -v c++)
cmake -S "$here" -B "$work/used" -G Ninja -DQUIL_SOURCE_DIR="$root" -DCMAKE_CXX_COMPILER="$other" \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra" >/dev/null
cmake --build "$work/used" --target "${1:-compiled}" | grep 'warning: unused variable'

cmake -S "$root" -B "$work/alone" -G Ninja >/dev/null
grep -x CMAKE_BUILD_TYPE:STRING=Release "$work/alone/CMakeCache.txt"
! grep -e -Werror "$work/alone/compile_commands.json"
