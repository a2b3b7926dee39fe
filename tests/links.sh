#!/bin/sh
# Fails when a document refers to a file that is not there.
# Usage: links.sh FOLDER, which holds documents at any depth
set -eu
status=0
documents=$(find "$1" -name '*.md')
[ -n "$documents" ] || { echo "$1: no documents" >&2; exit 1; }
for document in $documents; do
    # What is in a link's parentheses, without the place in the document and without other servers.
    for target in $(grep -o '](\([^)]*\))' "$document" | sed 's/](\(.*\))/\1/; s/#.*//; /:/d; /^$/d'); do
        [ -e "$(dirname "$document")/$target" ] && continue
        echo "$document: refers to $target, which is not there" >&2
        status=1
    done
done
exit $status
