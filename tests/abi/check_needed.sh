#!/bin/sh
# check_needed.sh LIBRARY - the library needs libc and libm alone, and bears the right soname.
set -eu
found=$(readelf -d "$1" | sed -n 's/.*(\(NEEDED\|SONAME\)).*\[\(.*\)\]/\1 \2/p' | LC_ALL=C sort)
wanted='NEEDED libc.so.6
NEEDED libm.so.6
SONAME libquarlo.so.1'
[ "$found" = "$wanted" ] && exit 0
printf 'wanted:\n%s\nfound:\n%s\n' "$wanted" "$found"
exit 1
