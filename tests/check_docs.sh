#!/bin/sh
# check_docs.sh - the tests that docs/deliberate.md names exist, and the README shows the example as it is.
# shellcheck disable=SC2016 # backticks are those of the documents
set -eu
cd "$(dirname "$0")/.."
status=0
for name in $(grep -oE '`[A-Za-z0-9_]+\.[A-Z][A-Za-z0-9_]+`' docs/deliberate.md | tr -d '\140'); do
    suite=${name%%.*} test=${name#*.}
    grep -qE "^TEST(_F|_P)?\($suite, $test\)" tests/*.cpp || { echo "no such test: $name"; status=1; }
done
sed -n '/^```c$/,/^```$/p' README.md | sed '1d;$d' >"${TMPDIR:-/tmp}/readme.$$"
sed 1d examples/deskew.c | diff - "${TMPDIR:-/tmp}/readme.$$" || status=1
rm -f "${TMPDIR:-/tmp}/readme.$$"
exit $status
