#!/bin/sh
# check_installed.sh - tries the installed packages, libraries in both word sizes, on the pictures in its own folder.
set -eu
cd "$(dirname "$0")"

fail() {
    echo "check_installed: $*"
    exit 1
}

# Width and height of a BMP file.
size() { od -An -t d4 -j 18 -N 8 "$1" | awk '{ print $1, "x", $2 }'; }

check_tool() {
    quarlo -o page.bmp s09_tilt_receipt_8.bmp
    [ "$(size page.bmp)" = "520 x 1190" ] || fail "the tool's page is $(size page.bmp)"
    angle=$(quarlo --angle s09_tilt_receipt_8.bmp)
    [ "$angle" = -12.413 ] || fail "the tool's angle is $angle"
    echo "quarlo: page of $(size page.bmp) pixels, $angle degrees"
}

check_manual() {
    man quarlo | col -b >quarlo.txt
    grep -q '^NAME' quarlo.txt || fail "man quarlo shows no NAME"
    echo "man quarlo: $(wc -l <quarlo.txt) lines"
}

check_library() { # TRIPLET FLAG
    options=$(PKG_CONFIG_LIBDIR=/usr/lib/$1/pkgconfig pkg-config --cflags --libs quarlo)
    # shellcheck disable=SC2086 # a list of options
    gcc "$2" /usr/share/doc/libquarlo-dev/examples/deskew.c -o "deskew$2" $options
    ldd "./deskew$2" | grep -q "/lib/$1/libquarlo\.so\.1 " || fail "deskew$2 does not use the library of $1"
    ldconfig -p | grep -q "/lib/$1/libquarlo\.so\.1$" || fail "ldconfig was not told of the library of $1"
    printed=$("./deskew$2" dark8_upright.bmp "page$2.bmp")
    [ "$printed" = "320 x 380 pixels" ] || fail "deskew$2 printed: $printed"
    echo "libquarlo, $1: page of $printed"
}

check_pages_library() {
    options=$(pkg-config --cflags --libs quarlopages)
    # shellcheck disable=SC2086
    g++ -std=c++17 /usr/share/doc/libquarlopages-dev/examples/straighten.cpp -o straighten $options
    printed=$(./straighten s09_tilt_receipt_8.bmp straight.png)
    [ "$printed" = "520 x 1190 pixels" ] || fail "straighten printed: $printed"
    echo "libquarlopages: page of $printed"
}

check_tool
check_manual
check_library x86_64-linux-gnu -m64
check_library i386-linux-gnu -m32
cmp page-m64.bmp page-m32.bmp || fail "the word sizes give different pages"
check_pages_library
