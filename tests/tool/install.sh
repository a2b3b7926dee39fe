#!/bin/sh
# Installs the build and fails when the copy does not run, has debug symbols, prints paths with
# "..", has manual pages with a sentence as a heading or a broken paragraph, or has documents that
# refer to missing files.
# Usage: install.sh <build folder> <nm>
set -eu
build=$1
nm=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
fail() {
    echo "$*" >&2
    exit 1
}

cmake --install "$build" --prefix "$prefix" >"$prefix/log"
"$prefix/bin/tyksim" --version >/dev/null
for file in "$prefix/bin/tyksim" "$prefix"/lib*/libpipelinesimulation.so.?; do
    "$nm" "$file" 2>&1 | grep -q 'no symbols' || fail "$file has symbols"
done
flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tykhost.pc)") \
    pkg-config --cflags --libs tykhost)
case $flags in
    *..*) fail "pkg-config: $flags" ;;
    "-I$prefix/include/pipelinesimulation -L$prefix/lib"*) ;;
    *) fail "pkg-config: expected paths below $prefix, found $flags" ;;
esac
torn=$(awk '/^\.SH/ { examples = /EXAMPLES/ }
    /^\.SS/ && !/"(Arguments|Verbs):"$/ || /^\.IP$/ && !examples { print FILENAME ": " $0 }' \
    "$prefix"/share/man/man1/tyksim*.1)
[ -z "$torn" ] || fail "$torn"
"$(dirname "$0")/../links.sh" "$(dirname "$(find "$prefix" -name CHANGELOG.md)")"
