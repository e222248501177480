#!/usr/bin/env bash
# Installs the build into an empty prefix and uses it from there: a C tool by pkg-config, a CMake
# project by find_package, and vsd with a freshly scaffolded service.
# usage: package_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1 source=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046
cc -std=c11 -Wall -Werror "$source/tests/abi/tool.c" -o "$prefix/tool" $(pkg-config --cflags --libs wz)
LD_LIBRARY_PATH=$prefix/lib "$prefix/tool"

mkdir "$prefix/project"
cp "$source/tests/abi/tool.c" "$prefix/project/"
cat >"$prefix/project/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.25)
project(tool LANGUAGES C CXX)
find_package(wz REQUIRED)
add_executable(tool tool.c)
target_link_libraries(tool PRIVATE wz::wz)
PROJECT
cmake -S "$prefix/project" -B "$prefix/project/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$prefix/project/build" >/dev/null
"$prefix/project/build/tool"

"$prefix/bin/vsd" new hello --root "$prefix/work" >/dev/null
"$prefix/bin/vsd" check --root "$prefix/work"
