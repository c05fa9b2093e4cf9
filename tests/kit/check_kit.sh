#!/usr/bin/env bash
# Installs the host kit from BUILD_DIR into a temporary prefix, runs the installed fputil,
# builds the one-file outside project (tests/kit/project) against the kit twice, through
# find_package(fp_utils) and through pkg-config, and runs both, with the compiler and flags
# the kit was built with (a sanitizer's runtime, say).
#   check_kit.sh BUILD_DIR CXX CXXFLAGS
set -euo pipefail
build_dir=$1
cxx=$2
cxxflags=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap '[ -n "${KEEP_KIT:-}" ] || rm -rf "$work"' EXIT

# Runs a step quietly; shows its output when it fails.
quiet() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }
}

quiet cmake --install "$build_dir" --prefix "$work/prefix"
quiet "$work/prefix/bin/fputil" coverage --sensor circle:0,0,10 --touch circle:0,0,10
echo "installed fputil: ran"

quiet cmake -S "$here/project" -B "$work/cmake-build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$cxxflags"
quiet cmake --build "$work/cmake-build"
"$work/cmake-build/kit_user"
echo "find_package(fp_utils): built and ran"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046,SC2086  # the flags are words
quiet "$cxx" $cxxflags -std=c++17 -o "$work/kit_user_pc" "$here/project/kit_user.cpp" \
    $(pkg-config --cflags --libs fp_utils-host)
"$work/kit_user_pc"
echo "pkg-config fp_utils-host: built and ran"
