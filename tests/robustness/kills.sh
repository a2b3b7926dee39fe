#!/bin/sh
# A recording that is killed at any moment leaves whole frames and a torn last one, every file of
# which is the beginning of what it should be. The whole ones replay to the last byte.
#
# Usage: kills.sh TYKSIM [ARGUMENT...]    the command, an emulator in front where there is one
# TYK_KILLS sets how many are killed (10), TYK_KILL_SEED when.
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

record() { "$@" --frames 40 --size 320x240 >/dev/null 2>&1; }

kill=0
record "$@" record "$work/right" || fail "the recording that nobody kills failed"
begin=$(date +%s%3N)
record "$@" record "$work/killed" || fail "the second recording that nobody kills failed"
took=$(($(date +%s%3N) - begin + 1))
rm -rf "$work/killed"

# How far into a recording each kill falls, in thousandths; more of them than kills, because only a
# kill that meets frames counts. What a recording takes is corrected on the way, since the first
# measurement may have met another load than the kills do.
moments=$(awk -v seed="$((seed % 1000000))" -v count="$((kills * 10))" \
    'BEGIN { srand(seed); for (i = 0; i < count; i++) print int(rand() * 1000) }')
whole=0 torn=0
for moment in $moments; do
    [ "$kill" -lt "$kills" ] || break
    status=0
    delay=$(awk -v ms="$((1 + moment * took / 1000))" 'BEGIN { printf "%.3f", ms / 1000 }')
    record timeout -s KILL "$delay" "$@" record "$work/killed" || status=$?
    if [ "$status" = 0 ]; then
        took=$((took * 9 / 10 + 1))
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
        [ "$frame" = "$last" ] || fail "not the last, and not whole: $frame"
        torn=$((torn + 1))
        for file in "$frame"/*; do
            [ ! -e "$file" ] || cmp -n "$(stat -c %s "$file")" "$file" "$right/${file##*/}" ||
                fail "not the beginning of what it should be: $file"
        done
        status=0
        "$@" replay "$work/killed" --verify >/dev/null 2>&1 || status=$?
        [ "$status" -lt 126 ] || fail "the replay of a torn frame ended with status $status"
        rm -rf "$frame"
        last=$(dirname "$frame")
        # Every frame rewrites the tuning copy, and the kill may have met it there.
        for copy in "$work"/killed/data/vendor/cameraserver/tykdump/pipe_1/mfnr*; do
            [ -e "$copy" ] || continue
            whole_copy=$work/right/data/vendor/cameraserver/tykdump/pipe_1/${copy##*/}
            cmp -n "$(stat -c %s "$copy")" "$copy" "$whole_copy" ||
                fail "not the beginning of what it should be: $copy"
            cp "$whole_copy" "$copy"
        done
    done
    if [ -n "$(find "$work/killed" -name '*_sofID_*' 2>/dev/null)" ]; then
        "$@" replay "$work/killed" --verify >"$work/replay" 2>&1 || fail "$(cat "$work/replay")"
        kill=$((kill + 1))
    elif [ -z "$last" ]; then
        took=$((took * 11 / 10 + 1))
    fi
    rm -rf "$work/killed"
done
echo "$kill kills of $kills, seed $seed: $whole frames whole, $torn torn"
[ "$kill" = "$kills" ] || fail "too few kills met frames to tell anything"
