#!/bin/bash
# Fails when docs/schema/tags.xsd and the tool do not accept the same tag tables.
# Usage: schema.sh <source folder> [<emulator>] <tyksim>
set -u
source=$1
shift
if ! command -v xmllint >/dev/null; then
    echo "xmllint is missing (Debian: libxml2-utils): the schema of tag tables is not checked"
    exit 77
fi
work=$(mktemp -d "${TEST_TMPDIR:-/tmp/}schemaXXXXXX")
trap 'rm -rf "$work"' EXIT
status=0

# judge TABLE EXPECTED: whether the schema and the tool both say "yes" or both "no".
judge() {
    local schema=no tool=no
    xmllint --noout --schema "$source/docs/schema/tags.xsd" "$1" 2>"$work/schema" && schema=yes
    "${tyksim[@]}" check "$work/config.xml" --tags "$1" >"$work/tool" 2>&1
    [ $? = 1 ] || tool=yes
    [ "$schema $tool" = "$2 $2" ] && return
    echo "expected $2, found schema $schema, tool $tool:" >&2
    cat "$1" "$work/schema" "$work/tool" >&2
    status=1
}

tyksim=("$@")
"${tyksim[@]}" record "$work/recorded" --frames 1 --size 16x8 >/dev/null 2>&1
cp "$work"/recorded/data/vendor/cameraserver/tykdump/pipe1_dumpConfig.xml "$work/config.xml" || exit 1
judge "$work/recorded/tags.xml" yes
sed -n '/^<tags/,/^<\/tags>/{p;/^<\/tags>/q}' "$source/docs/dump-tree.md" >"$work/documented.xml"
judge "$work/documented.xml" yes

# Changes of the documented table: a text and its replacement.
while IFS='|' read -r before after; do
    python3 - "$work/documented.xml" "$work/wrong.xml" "$before" "$after" <<'END' || exit 1
import pathlib, sys
text = pathlib.Path(sys.argv[1]).read_text()
assert sys.argv[3] in text, sys.argv[3]
pathlib.Path(sys.argv[2]).write_text(text.replace(sys.argv[3], sys.argv[4], 1))
END
    judge "$work/wrong.xml" no
done <<'END'
<enum|<enums
<value name="OFF"|<value
name="AUTO"|name="2"
number="1"|number="one"
number="1"|number="18446744073709551616"
enum="AwbMode"|enum="Mode"
name="AUTO"|name="OFF"
number="1"|number="+1"
id="2118"|id="0"
id="2118"|id="+2118"
id="2118"|id="4294967296"
id="0x1003"|id="8210"
KELV_TAG_AE|KELV.AE
KELV_TAG_AE|KELV_TAG_SHADING
size="80"|size="-1"
size="80"|size="+80"
size="80"|size="2147483648"
kind="block"|kind="blob"
roi[1].x|roi[1.x
offset="8"|offset="0x8"
offset="8"|offset="+8"
type="f32"|type="float"
name="weights"|name="gain"
count="4"|count="0"
count="4"|count="4" dims="4"
dims="3x3"|dims="3x"
dims="3x3"|dims="3x3" bits="0:1"
dims="3x3"|dims="9999999999x3"
dims="3x3"|dims="1x1x1x1x1x1x1x1x1x1x1x1x1x1x1x1x1"
bits="4:3"|bits="4"
bits="4:3"|bits="4:0"
unit="ns"|units="ns"
version="2"|version="0"
END
exit $status
