#!/bin/sh
# Fails when a document refers to a missing file.
# Usage: links.sh FOLDER, with documents at any depth
set -eu
status=0
documents=$(find "$1" -name '*.md')
[ -n "$documents" ] || { echo "$1: no documents" >&2; exit 1; }
for document in $documents; do
    folder=$(dirname "$document")
    # The targets of links, without anchors and without other servers.
    missing=$(grep -o '](\([^)]*\))' "$document" | sed 's/](\(.*\))/\1/; s/#.*//; /:/d; /^$/d' |
        while read -r target; do [ -e "$folder/$target" ] || echo "$target"; done)
    [ -z "$missing" ] || { echo "$document: refers to missing files:" "$missing" >&2; status=1; }
done
exit $status
