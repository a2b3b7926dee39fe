#!/bin/sh
# Fails when a document names a test that ctest does not have, or no document names one of its tests.
# Usage: documented.sh <ctest> <build folder> <document>...
# LEFT_OUT has the names of tests that this build cannot have.
set -eu
ctest=$1
folder=$2
shift 2
known=$("$ctest" --test-dir "$folder" -N | sed -n 's/^ *Test *#[0-9]*: \([^/]*\).*/\1/p')
# Capitalised words in backquotes, and arguments of -R.
# shellcheck disable=SC2016
named=$(grep -ohE '`[A-Z][a-z][A-Za-z]*`|-R [A-Z][a-z][A-Za-z]*' "$@" | grep -oE '[A-Za-z]{2,}' | sort -u)
[ -n "$named" ]
status=0
for name in $named; do
    # shellcheck disable=SC2086
    printf '%s\n' "$known" ${LEFT_OUT:-} | grep -qx "$name" || { echo "no test is called $name"; status=1; }
done
for name in $(printf '%s\n' "$known" | sort -u); do
    printf '%s\n' "$named" | grep -qx "$name" || { echo "no document says when to run $name"; status=1; }
done
exit $status
