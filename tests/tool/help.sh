#!/bin/bash
# Fails when an example of a help text does not run, or help is wider than the terminal.
# Usage: help.sh <folder of processors> [<emulator>] <tyksim>
set -eu
processors=$1
shift
work=$(mktemp -d "${TEST_TMPDIR:-/tmp/}helpXXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/base"
printf '#!/bin/sh\nexec%s "$@"\n' "$(printf ' %q' "$@")" >"$work/bin/tyksim"
printf '#!/bin/sh\nexec cat >/dev/null\n' >"$work/bin/ffplay"
printf '#!/bin/sh\nexec cat clip.y4m\n' >"$work/bin/ffmpeg"
chmod +x "$work"/bin/*
PATH=$work/bin:$PATH
status=0

verbs=$(tyksim help | sed -n '/^Verbs:/,/^$/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$verbs")" -ge 10 ]
for verb in help $verbs; do
    for columns in 45 60 90; do
        widest=$(script -qec "stty cols $columns; tyksim help $verb" /dev/null | tr -d '\r' |
            sed '/^Examples:/,$d' | wc -L)
        [ "$widest" -le "$columns" ] && continue
        echo "help $verb: $widest columns where the terminal has $columns" >&2
        status=1
    done
done

# The files and trees of the examples.
cd "$work/base"
exec 3>&1 >"$work/log"
tyksim record phone --frames 44 --size 64x48
tyksim record phone --frames 2 --size 64x48
tyksim export phone -o photos --frames 1,2
mkdir pulled trees
cp -r phone/data/vendor/cameraserver/tykdump phone/data/vendor/cameraserver/tykdump/pipe_1 pulled
tasks=(pulled/pipe_1/*_task_0)
cp -r "${tasks[0]}" task_a
cp -r "${tasks[1]}" task_b
cp phone/tags.xml pulled/tykdump/pipe1_dumpConfig.xml .
for copy in trees/one before after; do cp -r phone "$copy"; done
photos=(photos/*.jpg)
cp "${photos[0]}" photo1.jpg
cp "${photos[1]}" photo2.jpg
cp "$processors/denoise.so" libdenoise.so
echo 'struct WbParams { float gains[4]; } params;' |
    "${CXX:-g++}" -g -shared -fPIC -x c++ -o libparams.so -
tyksim export phone --frames 1 --y4m clip.y4m
tyksim track phone total_gain --csv --frames 1 >gains.csv
head -c 3110400 /dev/zero >pictures.nv12
exec >&3

examples=0
for verb in help $verbs; do
    cp -rl "$work/base" "$work/of-$verb"
    cd "$work/of-$verb"
    while read -r example; do
        examples=$((examples + 1))
        result=0
        bash -o pipefail -c "${example//\/tmp\//}" >"$work/log" 2>&1 || result=$?
        case $result in 0 | 3) continue ;; esac
        echo "help $verb: status $result: $example" >&2
        cat "$work/log" >&2
        status=1
    done < <(tyksim help "$verb" | sed -n '/^Examples:/,$s/^  //p')
done
[ "$examples" -gt 20 ] || { echo "found only $examples examples" >&2; exit 1; }
exit "$status"
