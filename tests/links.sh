#!/bin/sh
# Fails when a document refers to a file that is not there.
# Usage: links.sh FOLDER, which holds documents at any depth
set -eu
status=0
documents=$(find "$1" -name '*.md')
[ -n "$documents" ] || { echo "$1: no documents" >&2; exit 1; }
for document in $documents; do
    folder=$(dirname "$document")
    # What is in a link's parentheses, without the place in the document and without other servers.
    missing=$(grep -o '](\([^)]*\))' "$document" | sed 's/](\(.*\))/\1/; s/#.*//; /:/d; /^$/d' |
        while read -r target; do [ -e "$folder/$target" ] || echo "$target"; done)
    [ -z "$missing" ] || { echo "$document: refers to what is not there:" "$missing" >&2; status=1; }
done
exit $status
