#!/bin/sh
# check_exports.sh LIBRARY - the library exports exactly what exports.txt lists.
set -eu
list=$(dirname "$0")/exports.txt
nm -D --defined-only "$1" | awk '{ kind = $2 == "T" ? "function" : "variable"; print kind, $3 }' | LC_ALL=C sort |
    diff "$list" - && echo "exports as listed: $(wc -l <"$list")"
