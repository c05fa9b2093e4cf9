#!/usr/bin/env bash
# Installs the host kit from BUILD_DIR into a temporary prefix, builds the one-file outside
# project (tests/kit/project) against it twice, through find_package(fp_utils) and through
# pkg-config, and runs both.
#   check_kit.sh BUILD_DIR
set -euo pipefail
build_dir=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null

cmake -S "$here/project" -B "$work/cmake-build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/kit_user"
echo "find_package(fp_utils): built and ran"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046  # the flags are words
c++ -std=c++17 -o "$work/kit_user_pc" "$here/project/kit_user.cpp" \
    $(pkg-config --cflags --libs fp_utils-host)
"$work/kit_user_pc"
echo "pkg-config fp_utils-host: built and ran"
