#!/bin/bash
# Fails when the completion of a command line, whose last word is incomplete, differs from the
# expected words after it.
# Usage: completion.sh <completion> [<emulator>] <tyksim>
# shellcheck source=tools/manual/completion.bash
. "$1" || exit 1
shift
command=("$@")
# shellcheck disable=SC2317 # The completion calls it.
tyksim() { "${command[@]}" "$@"; }
status=0
expect() {
    local expected=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _tyksim "$1"
    [[ "${COMPREPLY[*]}" == "$expected" ]] && return
    echo "$*: expected '$expected', found '${COMPREPLY[*]}'" >&2
    status=1
}
expect "record replay" tyksim re
expect "check" tyksim help ch
expect "--version" tyksim --v
expect "--verify" tyksim replay --ver
expect "frame folder" tyksim replay --entry f
expect "folder" tyksim replay --entry = fo
expect "frame folder" tyksim replay --entry =
expect "" tyksim replay --camera t
expect "/etc/hostname" tyksim replay --verify /etc/hostnam
expect "warning" tyksim check --fail-on w
expect "" tyksim nosuchverb --x
exit $status
