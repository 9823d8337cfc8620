#!/usr/bin/env bash
# Installs the build tree BUILD into a scratch prefix under WORK, then builds
# and runs the consumer program with find_package(xp) and with pkg-config.
set -euo pipefail
build=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
cmake=${CMAKE_COMMAND:-cmake}
rm -rf "$work" && mkdir -p "$work"
prefix=$work/prefix

# The library's components only: the pane goes to GNUstep's system folder,
# outside any prefix.
for component in lib dev agent; do
  "$cmake" --install "$build" --prefix "$prefix" --component $component >>"$work/install.log"
done
"$prefix/bin/ntld-dump" --help >/dev/null
# lib, or lib/<multiarch> when the build's prefix is /usr.
pcdir=$(dirname "$(find "$prefix" -name xp.pc | head -1)")
libdir=$(dirname "$pcdir")

echo "== find_package(xp)"
"$cmake" -S "$here" -B "$work/consumer" -G "${GENERATOR:-Ninja}" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="${CC:-cc}" >"$work/configure.log"
"$cmake" --build "$work/consumer" >"$work/build.log"
LD_LIBRARY_PATH="$libdir:${LD_LIBRARY_PATH:-}" "$work/consumer/consumer"
"$work/consumer/consumer_static"

echo "== pkg-config xp"
export PKG_CONFIG_PATH=$pcdir
"${CC:-cc}" -std=c11 -o "$work/consumer_pc" "$here/main.c" $(pkg-config --cflags --libs xp)
LD_LIBRARY_PATH="$libdir:${LD_LIBRARY_PATH:-}" "$work/consumer_pc"
"${CC:-cc}" -std=c11 -o "$work/consumer_pc_static" "$here/main.c" \
  $(pkg-config --cflags xp) "$libdir/libxp.a" $(pkg-config --libs --static xp | sed 's/-lxp//')
"$work/consumer_pc_static"
