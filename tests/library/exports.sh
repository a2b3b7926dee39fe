#!/bin/sh
# Fails when a library's exported symbols are not exactly those of a list.
# Usage: exports.sh <nm> <library> <list>
set -u
symbols=$("$1" -D --defined-only "$2") || exit 1
printf '%s\n' "$symbols" | awk '{print $NF}' | LC_ALL=C sort | diff -u "$3" - && exit 0
echo "$2 does not export what $3 lists ('-': missing, '+': not listed)" >&2
exit 1
