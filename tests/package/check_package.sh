#!/usr/bin/env bash
# The .deb as a user gets it: made by CPack from a build, unpacked into a fresh
# root, its kp run from there, and a consumer built against it with
# find_package(kp160std) and with pkg-config.
#
# usage: check_package.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/kp-package-XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'echo "check_package: failed at line $LINENO: $BASH_COMMAND" >&2' ERR

(cd "$build" && cpack -G DEB -B "$work/deb" >/dev/null)
deb=$(ls "$work"/deb/kp160std_*.deb)
# Read whole outputs into variables: with pipefail, "grep -q" or "head" closing
# the pipe early fails the writer with SIGPIPE, and the test with it.
info=$(dpkg-deb --field "$deb" Package)
[ "$info" = "kp160std" ] || { echo "package is named '$info'"; exit 1; }
root="$work/root"
dpkg-deb -x "$deb" "$root"
lib=$(find "$root" -name 'libkp160std.so.16' -print -quit)
[ -n "$lib" ] || { echo "no libkp160std.so.16 in the package"; exit 1; }
libdir=$(dirname "$lib")
[ -L "$libdir/libkp160std.so" ] || { echo "no development link libkp160std.so"; exit 1; }
[ -f "$root/usr/include/kp160std/abi.h" ] && [ -f "$root/usr/share/man/man1/kp.1" ]

# The installed kp finds the installed library by its SONAME.
out=$(KP_PREFIX="$work/device" LD_LIBRARY_PATH="$libdir" "$root/usr/bin/kp" eval 'EstPair(4)')
[ "$out" = "True" ] || { echo "installed kp answered '$out'"; exit 1; }

# A consumer of the package, both ways.
mkdir -p "$work/consumer"
cat > "$work/consumer/main.c" <<'C'
#include <kp160std/abi.h>
#include <stdio.h>
int main(void) {
  /* Selector 1: the component number; 34: the number of functions. */
  printf("%s %u %u\n", KP160STD_VERSION, (unsigned)InfoComposante(1, 0), (unsigned)InfoComposante(34, 0));
  return 0;
}
C
cat > "$work/consumer/CMakeLists.txt" <<'C'
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(kp160std 16 REQUIRED)
add_executable(consumer main.c)
target_link_libraries(consumer PRIVATE kp160std::kp160std)
C
cmake -S "$work/consumer" -B "$work/consumer/build" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/consumer/build" >/dev/null
expected="16.0.97.7 8 445"
got=$(LD_LIBRARY_PATH="$libdir" "$work/consumer/build/consumer")
[ "$got" = "$expected" ] || { echo "find_package consumer printed '$got'"; exit 1; }
flags=$(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs kp160std)
# shellcheck disable=SC2086
cc "$work/consumer/main.c" $flags -o "$work/consumer/by-pkg-config"
got=$(LD_LIBRARY_PATH="$libdir" "$work/consumer/by-pkg-config")
[ "$got" = "$expected" ] || { echo "pkg-config consumer printed '$got'"; exit 1; }
# The embedding example (a VM in miniature) against the installed header.
# shellcheck disable=SC2086
cc "$(dirname "$0")/../../examples/embed/embed.c" $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags kp160std) \
  -ldl -o "$work/embed"
embed_out=$(LD_LIBRARY_PATH="$libdir" "$work/embed")
got=${embed_out%%$'\n'*}
[ "$got" = 'DateVersChaîne("20240305", "JJ/MM/AAAA") = 05/03/2024' ] || { echo "embed printed '$got'"; exit 1; }
echo "package: $(basename "$deb") installs, runs and builds consumers and the embedding example"
