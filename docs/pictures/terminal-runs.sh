#!/bin/sh
# The terminal runs in the README: records a burst, damages a copy of it in four ways, and lets check
# and diff say what is wrong: terminal-runs.sh TYKSIM
set -eu
tyksim=$(realpath "${1:-tyksim}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
tyksim() { "$tyksim" "$@"; }

# Prints a command and what it prints; the folder's long name is of no use to a reader.
run() {
    printf '$ %s\n' "$*"
    "$@" 2>&1 | sed -E "s|$work/||g; s|data/vendor/cameraserver/tykdump|...|; s|[0-9]{17}(_task)|2116...\1|g;
        s|[0-9]{13}(_reqID)|...\1|g"
}

tyksim record before --frames 8 --size 640x480 >/dev/null 2>&1
cp -r before after
cd after/data/vendor/cameraserver/tykdump/pipe_1/*_task_0
sed -i 's|<total_gain>[0-9]*<|<total_gain>777<|' ./*_reqID_3_*/iSceneInfo.xml
printf '\200\100\040\020' | dd of="$(echo ./*_reqID_5_*/*.yuv)" bs=1 seek=153920 conv=notrunc 2>/dev/null
rm ./*_reqID_6_*/*GAMMA_CURVE*
truncate -s 200000 ./*_reqID_8_*/*.yuv
cd "$work"
run tyksim check after
echo
run tyksim diff before after
