#!/bin/sh
# Kills recordings at random moments. Each must leave complete frames and a torn last one, in which
# every file is the beginning of a complete file. The complete frames must replay byte for byte.
#
# Usage: kills.sh TYKSIM [ARGUMENT...] the command, after an emulator if there is one TYK_KILLS sets
# the number of kills (10), TYK_KILL_SEED the seed of their times.
set -eu
kills=${TYK_KILLS:-10}
seed=${TYK_KILL_SEED:-$(date +%s)}
memory=
[ ! -w /dev/shm ] || memory=/dev/shm
work=$(mktemp -d -p "$memory")
trap 'rm -rf "$work"' EXIT

fail() {
    echo "seed $seed, kill $kill: $*" >&2
    exit 1
}

# Records COUNT frames.
record() {
    count=$1
    shift
    "$@" --frames "$count" --size 320x240 >/dev/null 2>&1
}

# The duration of recording COUNT frames, in milliseconds.
measured() {
    rm -rf "$work/killed"
    begin=$(date +%s%3N)
    record "$@" record "$work/killed" || fail "a recording without a kill failed"
    echo $(($(date +%s%3N) - begin + 1))
}

kill=0
frames=40
record $frames "$@" record "$work/right" || fail "a recording without a kill failed"
# Kills should come between the first frame and the last. Only such a kill counts; after one that
# comes too early or too late the bounds move.
from=$(($(measured 1 "$@") * 3 / 4))
to=$(measured $frames "$@")
rm -rf "$work/killed"
moments=$(awk -v seed="$((seed % 1000000))" -v count="$((kills * 10))" \
    'BEGIN { srand(seed); for (i = 0; i < count; i++) print int(rand() * 1000) }')
whole=0 torn=0
for moment in $moments; do
    [ "$kill" -lt "$kills" ] || break
    [ "$to" -gt "$from" ] || to=$((from + 10))
    delay=$(awk -v ms="$((from + moment * (to - from) / 1000))" \
        'BEGIN { printf "%.3f", (ms + 1) / 1000 }')
    status=0
    record $frames timeout -s KILL "$delay" "$@" record "$work/killed" || status=$?
    if [ "$status" = 0 ]; then
        to=$((to * 19 / 20))
        rm -rf "$work/killed"
        continue
    fi
    [ "$status" = 137 ] || fail "ended with status $status"
    last=
    for frame in "$work"/killed/data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*_sofID_*; do
        [ -d "$frame" ] || break
        last=$frame
    done
    for frame in "$work"/killed/data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*_sofID_*; do
        [ -d "$frame" ] || break
        right=$(echo "$work"/right/data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*_sofID_"${frame##*_}")
        if diff -r "$frame" "$right" >/dev/null; then
            whole=$((whole + 1))
            continue
        fi
        [ "$frame" = "$last" ] || fail "expected a complete frame before the last: $frame"
        torn=$((torn + 1))
        for file in "$frame"/*; do
            [ ! -e "$file" ] || cmp -n "$(stat -c %s "$file")" "$file" "$right/${file##*/}" ||
                fail "not the beginning of the complete file: $file"
        done
        status=0
        "$@" replay "$work/killed" --verify >/dev/null 2>&1 || status=$?
        [ "$status" -lt 126 ] || fail "the replay of a torn frame ended with status $status"
        rm -rf "$frame"
        last=$(dirname "$frame")
        # Every frame rewrites the tuning copy, which the kill may have cut.
        for copy in "$work"/killed/data/vendor/cameraserver/tykdump/pipe_1/mfnr*; do
            [ -e "$copy" ] || continue
            whole_copy=$work/right/data/vendor/cameraserver/tykdump/pipe_1/${copy##*/}
            cmp -n "$(stat -c %s "$copy")" "$copy" "$whole_copy" ||
                fail "not the beginning of the complete file: $copy"
            cp "$whole_copy" "$copy"
        done
    done
    if [ -n "$(find "$work/killed" -name '*_sofID_*' 2>/dev/null)" ]; then
        "$@" replay "$work/killed" --verify >"$work/replay" 2>&1 || fail "$(cat "$work/replay")"
        kill=$((kill + 1))
    elif [ -z "$last" ]; then
        from=$((from * 21 / 20 + 1))
    fi
    rm -rf "$work/killed"
done
echo "$kill kills of $kills, seed $seed: $whole frames whole, $torn torn"
[ "$kill" = "$kills" ] || fail "expected $kills kills between the first frame and the last, found $kill"
