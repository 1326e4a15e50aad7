#!/usr/bin/env bash
# The ./kp script as a newcomer meets it, in a tree of its own: the packages
# asked for depend on the command (run needs no test tools nor benchmarks),
# the install hint works without sudo, the first build says what it is doing
# and shows its progress, later builds are quiet, and a failed build shows
# its output. cmake is a stand-in that prints ninja-like lines, so nothing
# is really built and no package is installed (apt-get is not on the PATH).
#
#   check_kp_script.sh SOURCE_DIR
set -euo pipefail
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

# A checkout of the script alone.
mkdir -p "$work/root" "$work/bin" "$work/empty" "$work/full"
cp "$source_dir/kp" "$work/root/kp"
for tool in bash dirname mktemp cat rm grep sed id mkdir touch chmod; do
  ln -s "$(command -v "$tool")" "$work/bin/$tool"
done

# No package at all: the lists per command.
missing() { # COMMAND... -> the packages kp asks for, one line
  local err
  err=$(cd "$work/root" && KP_SYSROOT="$work/empty" PATH="$work/bin" ./kp "$@" 2>&1 >/dev/null) && true
  sed -n 's/^kp: missing Debian packages: //p' <<<"$err"
}
run_list=$(missing run x.kl)
for needed in cmake ninja-build g++ pkg-config libgcrypt20-dev libreadline-dev; do
  grep -qw -- "$needed" <<<"$run_list" || fail "kp run does not ask for $needed: $run_list"
done
for unneeded in libbenchmark-dev libgtest-dev xvfb python3-pil sharutils dpkg-dev zip; do
  grep -qw -- "$unneeded" <<<"$run_list" && fail "kp run asks for $unneeded, which it does not use: $run_list"
done
[ "$(missing eval 'EstPair(4)')" = "$run_list" ] || fail "kp eval asks for other packages than kp run"
[ "$(missing repl)" = "$run_list" ] || fail "the prompt asks for other packages than kp run"
quick_list=$(missing test quick)
grep -qw libgtest-dev <<<"$quick_list" || fail "kp test quick does not ask for libgtest-dev: $quick_list"
grep -qw libbenchmark-dev <<<"$quick_list" && fail "kp test quick asks for libbenchmark-dev: $quick_list"
grep -qw libbenchmark-dev <<<"$(missing bench)" || fail "kp bench does not ask for libbenchmark-dev"
hint=$(cd "$work/root" && KP_SYSROOT="$work/empty" PATH="$work/bin" ./kp run x.kl 2>&1) && fail "kp run went on without its packages"
grep -q "^kp: install them as root: apt-get install cmake " <<<"$hint" || fail "no install hint that works without sudo: $hint"
grep -q sudo <<<"$hint" && fail "the hint needs sudo: $hint"

# Every package there: a stand-in cmake, the files the checks look for.
for f in zlib.h sqlite3.h curl/curl.h readline/readline.h systemd/sd-bus.h gcrypt.h re2/re2.h X11/Xlib.h \
  X11/extensions/XTest.h X11/extensions/Xrandr.h freetype2/ft2build.h fontconfig/fontconfig.h zip.h png.h gtest/gtest.h; do
  mkdir -p "$work/full/usr/include/$(dirname "$f")"
  touch "$work/full/usr/include/$f"
done
mkdir -p "$work/full/usr/share/zoneinfo/America"
touch "$work/full/usr/share/zoneinfo/America/New_York"
for tool in ninja g++ pkg-config; do printf '#!/bin/bash\nexit 0\n' >"$work/bin/$tool"; done
cat >"$work/bin/cmake" <<'CMAKE'
#!/bin/bash
case "$1" in
  --preset) mkdir -p build/debug && touch build/debug/build.ninja ;;
  --build)
    if [ -e "$FAKE_BUILD_FAILS" ]; then
      echo "[1/2] Building CXX object host/CMakeFiles/kp.dir/main.cpp.o"
      echo "main.cpp:1:1: error: the stand-in build fails"
      exit 1
    fi
    if [ ! -x build/debug/host/kp ]; then
      echo "[1/2] Building CXX object host/CMakeFiles/kp.dir/main.cpp.o"
      echo "[2/2] Linking CXX executable host/kp"
      mkdir -p build/debug/host
      printf '#!/bin/bash\necho "kp ran: $*"\n' >build/debug/host/kp
      chmod +x build/debug/host/kp
    else
      echo "ninja: no work to do."
    fi
    ;;
esac
CMAKE
chmod +x "$work/bin/cmake"
kp() { # -> $out, $err, $status
  status=0
  (cd "$work/root" && KP_SYSROOT="$work/full" FAKE_BUILD_FAILS="$work/fails" PATH="$work/bin" ./kp "$@" \
    >"$work/out" 2>"$work/err") || status=$?
  out=$(cat "$work/out")
  err=$(cat "$work/err")
}

kp eval 'EstPair(4)'
[ "$status" = 0 ] || fail "the first run failed ($status): $err"
[ "$out" = "kp ran: eval EstPair(4)" ] || fail "the first run's standard output holds more than kp's: $out"
grep -q "^kp: building the library and host, first run only" <<<"$err" || fail "the first run does not say it builds: $err"
grep -q "^\[2/2\] Linking CXX executable host/kp" <<<"$err" || fail "the first run does not show the build's progress: $err"

kp eval 'EstPair(4)'
[ "$out" = "kp ran: eval EstPair(4)" ] && [ -z "$err" ] || fail "a run with nothing to build is not quiet: $out / $err"
kp --version
[ "$out" = "kp ran: --version" ] || fail "./kp --version does not reach kp: $out / $err"

touch "$work/fails"
kp run x.kl
[ "$status" = 2 ] || fail "a failed build ends with status $status, not 2"
[ -z "$out" ] || fail "a failed build ran kp: $out"
grep -q "main.cpp:1:1: error: the stand-in build fails" <<<"$err" || fail "a failed build hides its output: $err"
grep -q "^kp: building kp failed" <<<"$err" || fail "a failed build does not say so: $err"

[ $failures = 0 ] || exit 1
echo "kp script: packages per command, first run, quiet runs and failed builds as expected"
