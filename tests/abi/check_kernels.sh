#!/bin/sh
# check_kernels.sh ARCHIVE - the sources of a level share no code with the rest: what the compiler may merge with a copy
# from elsewhere (weak symbols) would run on processors that lack the level's instructions.
set -eu
weak=$(nm -C --print-file-name "$1" | grep -E '(Sse41|Avx2|Avx512)\.cpp\.o:.* [VWu] ' | grep -v -E ' w ' || true)
[ -z "$weak" ] && exit 0
printf 'shared code in the kernels:\n%s\n' "$weak"
exit 1
