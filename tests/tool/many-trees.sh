#!/bin/sh
# Runs the commands of docs/many-trees.md on 200 small trees, some damaged, and checks the answers.
#
#   many-trees.sh TYKSIM
set -eu
tyksim=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir bin lab
ln -s "$tyksim" bin/tyksim
PATH=$work/bin:$PATH
cat >tags.xml <<'XML'
<tags>
  <tag id="2118" name="KELV_TAG_ISCENE_INFO" size="8512" kind="fixed"/>
</tags>
XML
seq 200 | parallel "tyksim record lab/tree{} --tags tags.xml --frames 3 --size 8x8 >/dev/null 2>&1"
for number in 7 77 177; do rm lab/tree$number/data/vendor/cameraserver/tykdump/pipe_1/*/*_reqID_2_*/FCWH*; done

# The commands of the document, block by block, without the one that needs other machines.
awk '/^```$/ { inside = !inside; if (!inside) print ""; next } inside' "$OLDPWD/docs/many-trees.md" |
    sed -e 's/--sshlogin lab1,lab2,:/--sshlogin :/' -e 's|/srv/lab|lab|' >commands.sh
grep -q 'parallel -0 -m tyksim check' commands.sh
sh commands.sh >answers.txt || true

lines() {
    found=$(grep -c . "$1")
    [ "$found" = "$2" ] || { echo "$1: expected $2 lines, found $found" >&2; exit 1; }
}
lines info.jsonl 200
lines check.jsonl 200
lines frames.jsonl 600
grep -Fqx "$(printf 'image-missing\t3\t3')" answers.txt || {
    echo "expected a line of 3 missing images in 3 trees:" >&2
    cat -v answers.txt >&2
    exit 1
}
grep -Fqx "$(printf 'frames\t600\t597')" answers.txt || {
    echo "expected 600 frames, 597 of them with a mean:" >&2
    cat -v answers.txt >&2
    exit 1
}
echo "200 trees: info, check and track agree with what was recorded"
