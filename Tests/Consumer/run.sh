#!/usr/bin/env bash
# Installs the library from a build tree into a staging folder, moves that folder, and builds and runs a small
# application against it: once through find_package, once through pkg-config and the plain compiler.
#   run.sh BUILD_FOLDER CXX_COMPILER
set -euo pipefail
build=$1
compiler=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs a command, silent unless it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; return 1; }; }

for component in liborvane1 liborvane-dev; do
  quietly cmake --install "$build" --prefix "$work/stage" --component "$component"
done
mv "$work/stage" "$work/moved"
prefix=$work/moved
unset PKG_CONFIG_PATH CMAKE_PREFIX_PATH LD_LIBRARY_PATH

echo "== find_package"
quietly cmake -S "$here" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler"
quietly cmake --build "$work/consumer"
"$work/consumer/consumer"
grep -q "$prefix" "$work/consumer/CMakeCache.txt"

echo "== unknown components and versions"
quietly cmake -S "$here/missing" -B "$work/missing" -G Ninja -DCMAKE_PREFIX_PATH="$prefix"

echo "== pkg-config"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name orvane.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir orvane)
# shellcheck disable=SC2046
"$compiler" -std=c++20 -Wall -Wextra -Werror $(pkg-config --cflags orvane) "$here/main.cpp" -o "$work/plain" $(pkg-config --libs orvane)
LD_LIBRARY_PATH=$libdir "$work/plain"

echo "== what is installed"
test -e "$libdir/liborvane.so.1"
test -e "$prefix/include/orvane/Platform/Foundation/Values/NSString.h"
if grep -rqE '#include [<"](unicode|glib|openssl)/' "$prefix/include"; then
  echo "a public header names a library that consumers need not have" >&2
  exit 1
fi
