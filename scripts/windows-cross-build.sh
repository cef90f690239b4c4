#!/usr/bin/env bash
# Cross-builds the library and the example hosts for Windows with the
# MinGW-w64 compilers, 64-bit into build-win64/ and 32-bit into build-win32/,
# and checks each quorbix.dll:
#
#  - it exports exactly the 48 functions declared in include/quorbix.h, by
#    their plain names on both architectures. On 32-bit x86 the functions are
#    __stdcall, which the compiler decorates (Quorbix_Initialize@4); the DLL is
#    linked with --kill-at, so the export table carries the plain names that
#    Windows hosts look up, and qxcalc.exe, linked through the import library,
#    must import those plain names too;
#  - it imports from the operating system and its C runtime only (KERNEL32 and
#    msvcrt or the UCRT), not from the MinGW runtime DLLs (libgcc_s,
#    libstdc++, libwinpthread).
#
# When wine is installed, it also runs the 64-bit qxcalc.exe on a few
# expressions, a statement and a save/load round trip through a file, and
# checks what it prints.
#
# Needs cmake and the Debian packages g++-mingw-w64-x86-64-posix,
# g++-mingw-w64-i686-posix and binutils-mingw-w64; run as root, it installs
# them when they are missing. QUORBIX_JOBS sets the build parallelism
# (default 2).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=${QUORBIX_JOBS:-2}
packages=(cmake make g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix binutils-mingw-w64)

script=windows-cross-build
source "$(dirname "$0")/script_helpers.sh"

missing=0
for tool in cmake make x86_64-w64-mingw32-g++ i686-w64-mingw32-g++ x86_64-w64-mingw32-objdump i686-w64-mingw32-objdump; do
  command -v "$tool" >/dev/null || missing=1
done
if [ "$missing" = 1 ]; then
  if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
    echo "== installing ${packages[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null
  else
    fail "the MinGW-w64 cross compilers are missing: apt-get install ${packages[*]}"
  fi
fi

# The functions the header declares, one a line, sorted.
expected=$(grep -oE 'QUORBIX_CALL \*?(Quorbix[A-Za-z0-9_]*|qx_[a-z_]+)\(' "$root/include/quorbix.h" |
  sed -E 's/^QUORBIX_CALL \*?//; s/\($//' | LC_ALL=C sort)
expected_count=$(printf '%s\n' "$expected" | wc -l)
[ "$expected_count" = 48 ] || fail "found $expected_count functions in include/quorbix.h, expected 48"

# The names in a PE image's export table, one a line, sorted.
exports_of() {
  "$1" -p "$2" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
    sed -nE 's/^[[:space:]]*\[ *[0-9]+\] +//p' | LC_ALL=C sort
}

# The DLLs a PE image imports from, one a line.
imports_of() {
  "$1" -p "$2" | sed -nE 's/^[[:space:]]*DLL Name: //p'
}

# The names a PE image imports from one DLL, sorted. objdump lists each
# import as "<address> <hint> <name>" under the DLL's heading.
imported_names() {
  "$1" -p "$2" | awk -v dll="$3" '
    /^[[:space:]]*DLL Name:/ { inside = ($3 == dll); next }
    inside && /^[[:space:]]*$/ { inside = 0 }
    inside && NF == 3 && $1 ~ /^[0-9a-f]+$/ && $2 ~ /^[0-9]+$/ { print $3 }' | LC_ALL=C sort
}

build() {
  local arch=$1 dir=$2
  local objdump=$arch-w64-mingw32-objdump
  local bin=$root/$dir

  echo "== $arch: configure and build in $dir/"
  mkdir -p "$bin"
  quiet "$bin/cross-configure.log" cmake -S "$root" -B "$bin" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw-$arch.cmake" \
    -DCMAKE_BUILD_TYPE=Release \
    -DQUORBIX_BUILD_TESTS=OFF -DQUORBIX_BUILD_EXAMPLES=ON -DQUORBIX_WERROR=ON \
    -DCMAKE_EXE_LINKER_FLAGS="-static-libgcc -static-libstdc++"
  quiet "$bin/cross-build.log" cmake --build "$bin" -j"$jobs"

  local dll=$bin/quorbix.dll
  [ -f "$dll" ] || fail "$dll was not built"
  [ -f "$bin/examples/qxcalc.exe" ] || fail "$bin/examples/qxcalc.exe was not built"

  echo "-- exports of $dir/quorbix.dll"
  local exports
  exports=$(exports_of "$objdump" "$dll")
  printf '%s\n' "$exports" | sed 's/^/   /'
  echo "   ($(printf '%s\n' "$exports" | grep -c .) names)"
  if [ "$exports" != "$expected" ]; then
    diff <(printf '%s\n' "$expected") <(printf '%s\n' "$exports") | sed -n 's/^[<>]/   &/p' >&2 || true
    fail "$dir/quorbix.dll does not export exactly the functions of include/quorbix.h (< missing, > extra)"
  fi

  echo "-- DLLs imported by $dir/quorbix.dll"
  local imports
  imports=$(imports_of "$objdump" "$dll")
  printf '%s\n' "$imports" | sed 's/^/   /'
  local name
  while read -r name; do
    case "${name,,}" in
      kernel32.dll | msvcrt.dll | ucrtbase.dll | api-ms-win-crt-*.dll) ;;
      *) fail "$dir/quorbix.dll imports $name" ;;
    esac
  done <<<"$imports"

  # A host linked through the import library must bind to the exported names.
  local bound
  bound=$(imported_names "$objdump" "$bin/examples/qxcalc.exe" quorbix.dll)
  [ -n "$bound" ] || fail "$dir/examples/qxcalc.exe imports nothing from quorbix.dll"
  while read -r name; do
    printf '%s\n' "$expected" | grep -qxF "$name" ||
      fail "$dir/examples/qxcalc.exe imports $name from quorbix.dll"
  done <<<"$bound"
  echo "-- $dir/examples/qxcalc.exe binds $(printf '%s\n' "$bound" | wc -l) functions of quorbix.dll by name"
}

build x86_64 build-win64
build i686 build-win32

# Under wine: the 64-bit host, from its own directory so that it finds the DLL.
# Debian's wine64 package installs its loader outside PATH without the wine
# package.
wine=$(command -v wine64 || command -v wine || true)
if [ -z "$wine" ] && [ -x /usr/lib/wine/wine64 ]; then
  wine=/usr/lib/wine/wine64
fi
if [ -n "$wine" ]; then
  echo "== x86_64: qxcalc.exe under $(basename "$wine")"
  run_dir=$root/build-win64/examples
  cp "$root/build-win64/quorbix.dll" "$run_dir/"
  rm -f "$run_dir/params.qx"
  # shellcheck disable=SC2016 # the $ names are string parameters, not shell
  output=$(cd "$run_dir" && WINEDEBUG=-all "$wine" ./qxcalc.exe \
    '2*sin(pi/6)' '2*(3+4) - 1e3/8' 'x = 2*pi' 'x/pi' 's$ = "ab" + "c"' 'left$(s$ + "xyz", 4)' \
    ':save params.qx' 'x = 7' 's$ = "-"' ':load params.qx' 'x/pi' 's$' 2>/dev/null | tr -d '\r') ||
    fail "qxcalc.exe under wine: exit status $?"
  printf '%s\n' "$output" | sed 's/^/   /'
  want=$(printf '%s\n' 0.99999999999999989 -111 2 abcx 2 abc)
  [ "$output" = "$want" ] || fail "qxcalc.exe under wine printed something else; expected:
$want"
else
  echo "== wine is not installed: qxcalc.exe not run"
fi

echo "windows-cross-build: OK"
