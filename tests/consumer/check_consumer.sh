#!/bin/sh
# check_consumer.sh CMAKE BUILD_DIR SOURCE_DIR C_FLAGS - installs the build, moves the installed tree, and builds and
# runs programs against it, in C and C++, through find_package and through pkg-config.
set -eu
cmake=$1 build=$2 source=$3 flags=$4
work=$build/consumer
sample=$source/tests/golden/dark8_upright.bmp
rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
prefix=$work/moved
library=$(dirname "$(find "$prefix" -name libquarlo.so)")

run() { # PROGRAM_DIR
    LD_LIBRARY_PATH=$library "$1/turn"
    printed=$(LD_LIBRARY_PATH=$library "$1/deskew" "$sample" "$1/page.bmp")
    [ "$printed" = "320 x 380 pixels" ] || { echo "deskew printed: $printed"; exit 1; }
}

"$cmake" -S "$source/tests/consumer" -B "$work/package" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_CXX_FLAGS="$flags" -DEXAMPLE="$source/examples/deskew.c" >/dev/null
"$cmake" --build "$work/package" >/dev/null
run "$work/package"

mkdir "$work/pkgconfig"
PKG_CONFIG_PATH=$library/pkgconfig
export PKG_CONFIG_PATH
options=$(pkg-config --cflags --libs quarlo)
# shellcheck disable=SC2086 # both are lists of options
cc $flags "$source/examples/deskew.c" -o "$work/pkgconfig/deskew" $options
# shellcheck disable=SC2086
c++ -std=c++17 $flags "$source/tests/consumer/turn.cpp" -o "$work/pkgconfig/turn" $options
run "$work/pkgconfig"

# The library of picture files comes with the tool.
if [ -e "$PKG_CONFIG_PATH/quarlopages.pc" ]; then
    options=$(pkg-config --cflags --libs quarlopages)
    # shellcheck disable=SC2086
    c++ -std=c++17 $flags "$source/examples/straighten.cpp" -o "$work/pkgconfig/straighten" $options
    LD_LIBRARY_PATH=$library "$work/pkgconfig/straighten" "$sample" "$work/pkgconfig/page.png"
    "$prefix/bin/quarlo" --dry-run --no-deskew --no-crop "$work/pkgconfig/page.png" 2>&1 | grep -q 'whole picture'
fi
echo "installed tree used from C and C++ by find_package and pkg-config"
