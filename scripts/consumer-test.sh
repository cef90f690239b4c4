#!/usr/bin/env bash
# Installs the library into a scratch prefix and builds the C host in
# tests/consumer against the installed files alone, twice: through CMake's
# find_package and through pkg-config. Both programs must print the expected
# lines. Done once for the shared library and once for the static one
# (-DQUORBIX_STATIC=ON). Along the way it checks the installed layout: the
# headers, the library's version links and dependencies, the CMake package's
# version rule and the pkg-config flags.
#
# Needs cmake, a C and C++ compiler, pkg-config and readelf (binutils).
# QUORBIX_JOBS sets the build parallelism (default 2).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=${QUORBIX_JOBS:-2}
cc=${CC:-cc}
cxx=${CXX:-c++}

script=consumer-test
source "$(dirname "$0")/script_helpers.sh"

for tool in cmake pkg-config readelf "$cc" "$cxx"; do
  command -v "$tool" >/dev/null || fail "$tool is not installed"
done

version=$(sed -n 's/^project(Quorbix VERSION \([0-9][0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
[[ $version =~ ^([0-9]+)\.([0-9]+)\.[0-9]+$ ]] || fail "cannot read the version from CMakeLists.txt"
major=${BASH_REMATCH[1]}
minor=${BASH_REMATCH[2]}

work=$(mktemp -d "${TMPDIR:-/tmp}/quorbix-consumer.XXXXXX")
trap 'rm -rf "$work"' EXIT
case "$work/" in "$root"/*) fail "the scratch directory $work is inside the source tree" ;; esac

expected="version $version
2*sin(pi/6) = 1
[b]*8 + 101b = 7
upper\$(left\$(\"installed\", 7)) + \" \" + str\$(6*7) = INSTALL 42"

# check_run NAME PROGRAM: runs the program and compares what it prints.
check_run() {
  local out
  out=$("$2") || fail "$1: $2 exited with status $?"
  if [ "$out" != "$expected" ]; then
    diff -u <(printf '%s\n' "$expected") <(printf '%s\n' "$out") >&2 || true
    fail "$1: unexpected output"
  fi
  echo "  $1: output as expected"
}

# find_package(Quorbix WANT CONFIG REQUIRED) in a scratch project must end
# with status OUTCOME (pass or fail).
probe_version() {
  local prefix=$1 want=$2 outcome=$3 dir=$work/probe-$2
  mkdir -p "$dir"
  cat >"$dir/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.20)
project(QuorbixProbe LANGUAGES C)
find_package(Quorbix $want CONFIG REQUIRED)
EOF
  if cmake -S "$dir" -B "$dir/build" -DCMAKE_PREFIX_PATH="$prefix" >"$dir/log" 2>&1; then
    [ "$outcome" = pass ] || fail "find_package(Quorbix $want) accepted version $version"
  else
    if [ "$outcome" = pass ]; then
      cat "$dir/log" >&2
      fail "find_package(Quorbix $want) refused version $version"
    fi
  fi
  if [ "$outcome" = pass ]; then
    echo "  find_package(Quorbix $want): accepted"
  else
    echo "  find_package(Quorbix $want): refused"
  fi
}

run() {
  local flavour=$1 static=$2
  local base=$work/$flavour
  local build=$base/library-build prefix=$base/prefix
  local lib=$prefix/lib
  echo "== consumer test, $flavour library"

  # The configure-time prefix is a decoy: the install must go where
  # --prefix says, the pkg-config file included.
  quiet "$base.configure.log" cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$base/decoy" -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_INCLUDEDIR=include \
    -DQUORBIX_STATIC="$static" -DQUORBIX_BUILD_TESTS=OFF -DQUORBIX_BUILD_EXAMPLES=OFF
  quiet "$base.build.log" cmake --build "$build" -j"$jobs"
  quiet "$base.install.log" cmake --install "$build" --prefix "$prefix"
  [ ! -e "$base/decoy" ] || fail "$flavour: something was installed into the configure-time prefix"
  # The consumer may use the installed files only.
  rm -rf "$build"

  # Headers: every public header, nothing else.
  diff <(cd "$root/include" && find . -name '*.h' -o -name '*.hpp' | sort) \
    <(cd "$prefix/include" && find . -type f | sort) >&2 || fail "$flavour: installed headers differ from include/"

  # CMake package files.
  for file in QuorbixConfig.cmake QuorbixConfigVersion.cmake QuorbixTargets.cmake; do
    [ -f "$lib/cmake/Quorbix/$file" ] || fail "$flavour: lib/cmake/Quorbix/$file is missing"
  done

  # The library itself.
  if [ "$static" = OFF ]; then
    [ "$(readlink "$lib/libquorbix.so")" = "libquorbix.so.$major" ] || fail "libquorbix.so does not point to libquorbix.so.$major"
    [ "$(readlink "$lib/libquorbix.so.$major")" = "libquorbix.so.$version" ] ||
      fail "libquorbix.so.$major does not point to libquorbix.so.$version"
    if [ ! -f "$lib/libquorbix.so.$version" ] || [ -L "$lib/libquorbix.so.$version" ]; then
      fail "libquorbix.so.$version is not a file"
    fi
    [ ! -e "$lib/libquorbix.a" ] || fail "the shared install also has libquorbix.a"
    # (grep -q on a pipe could end the writer early and trip pipefail.)
    grep -q "Library soname: \[libquorbix.so.$major\]" <<<"$(readelf -d "$lib/libquorbix.so.$version")" ||
      fail "the soname is not libquorbix.so.$major"
    local needed
    needed=$(readelf -d "$lib/libquorbix.so.$version" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    while read -r dependency; do
      case "$dependency" in
        libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.* | ld-linux*) ;;
        *) fail "libquorbix.so depends on $dependency" ;;
      esac
    done <<<"$needed"
    echo "  installed: headers, libquorbix.so -> .so.$major -> .so.$version, needs only ${needed//$'\n'/ }"
  else
    [ -f "$lib/libquorbix.a" ] || fail "libquorbix.a is missing"
    if compgen -G "$lib/libquorbix.so*" >/dev/null; then
      fail "the static install also has a shared library"
    fi
    echo "  installed: headers, libquorbix.a"
  fi

  # pkg-config sees this prefix and nothing else.
  export PKG_CONFIG_LIBDIR=$lib/pkgconfig
  unset PKG_CONFIG_PATH
  [ "$(pkg-config --modversion quorbix)" = "$version" ] || fail "$flavour: pkg-config --modversion is not $version"
  local cflags libs
  # Without the trailing blank pkg-config may print.
  cflags=$(pkg-config --cflags quorbix | xargs)
  libs=$(pkg-config --libs quorbix | xargs)
  if [ "$static" = OFF ]; then
    [ "$cflags" = "-I$prefix/include" ] || fail "pkg-config --cflags: $cflags"
    [ "$libs" = "-L$lib -lquorbix" ] || fail "pkg-config --libs: $libs"
    [[ " $(pkg-config --static --libs quorbix) " == *" -lm "* ]] || fail "pkg-config --static --libs lacks -lm"
  else
    [ "$cflags" = "-I$prefix/include -DQUORBIX_STATIC" ] || fail "pkg-config --cflags: $cflags"
    [[ "$libs " == "-L$lib -lquorbix "*" -lm "* ]] || fail "pkg-config --libs: $libs"
  fi
  echo "  pkg-config --cflags --libs quorbix: $cflags $libs"

  # The host's own sources, copied away from the source tree.
  cp -R "$root/tests/consumer" "$base/src"
  local warnings=(-Wall -Wextra -Wpedantic -Werror)

  # 1. CMake: find_package(Quorbix 3.8 CONFIG REQUIRED).
  quiet "$base.consumer-cmake.log" cmake -S "$base/src" -B "$base/cmake-build" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="${warnings[*]}" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
  quiet "$base.consumer-build.log" cmake --build "$base/cmake-build"
  # Linking the static target must define QUORBIX_STATIC for the host (it
  # decides the declarations on Windows); the shared one must not.
  local defined=OFF
  if grep -q -- "-DQUORBIX_STATIC" "$base/cmake-build/compile_commands.json"; then
    defined=ON
  fi
  [ "$defined" = "$static" ] || fail "$flavour: the CMake host is compiled with QUORBIX_STATIC $defined"
  grep -qx "Quorbix_DIR:PATH=$lib/cmake/Quorbix" "$base/cmake-build/CMakeCache.txt" ||
    fail "$flavour: CMake found a Quorbix package outside $prefix"
  if grep -rqF "$root" "$base/cmake-build"; then
    grep -rlF "$root" "$base/cmake-build" >&2
    fail "$flavour: the CMake build of the host refers to the source tree"
  fi
  check_run "CMake host" "$base/cmake-build/consumer"

  # 2. pkg-config, as a makefile would do it.
  # shellcheck disable=SC2046
  "$cc" -std=c11 "${warnings[@]}" -o "$base/pkgconfig-host" "$base/src/main.c" \
    $(pkg-config --cflags --libs quorbix) -Wl,-rpath,"$(pkg-config --variable=libdir quorbix)" ||
    fail "$flavour: the pkg-config build of the host failed"
  check_run "pkg-config host" "$base/pkgconfig-host"

  # Each host runs with the library it should: the installed shared one, or
  # none at all.
  for host in "$base/cmake-build/consumer" "$base/pkgconfig-host"; do
    local linked
    linked=$(readelf -d "$host" | sed -n 's/.*(NEEDED).*\[\(libquorbix[^]]*\)\]/\1/p')
    if [ "$static" = OFF ]; then
      [ "$linked" = "libquorbix.so.$major" ] || fail "$host needs '$linked', not libquorbix.so.$major"
      grep -q "libquorbix.so.$major => $lib/libquorbix.so.$major" <<<"$(ldd "$host")" ||
        fail "$host does not load $lib/libquorbix.so.$major"
    else
      [ -z "$linked" ] || fail "$host needs $linked though it was linked statically"
    fi
  done

  # The C++ header compiles on its own from the prefix.
  if [ -f "$prefix/include/quorbix.hpp" ]; then
    # shellcheck disable=SC2046
    echo '#include <quorbix.hpp>' | "$cxx" -std=c++17 -fsyntax-only $(pkg-config --cflags quorbix) -x c++ - ||
      fail "$flavour: the installed quorbix.hpp does not compile"
    echo "  quorbix.hpp compiles from the prefix"
  fi

  # The version rule: the same major version, no newer than installed.
  if [ "$static" = OFF ]; then
    probe_version "$prefix" "$major.0" pass
    probe_version "$prefix" "$version" pass
    probe_version "$prefix" "$major.$((minor + 1))" fail
    probe_version "$prefix" "$((major + 1)).0" fail
    if [ "$major" -gt 0 ]; then
      probe_version "$prefix" "$((major - 1)).0" fail
    fi
  fi
}

run shared OFF
run static ON
echo "consumer-test: all passed"
