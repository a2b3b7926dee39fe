#!/bin/sh
# Findings of many trees, on every machine that ssh reaches, as JSON lines.
#
#   check_ssh.sh LOGINS FOLDER >check.jsonl
#
# LOGINS are those of `parallel --sshlogin`: "lab1,lab2,:". FOLDER holds the trees, under the same path on
# every machine. A tree is a job of its own. One that its machine did not finish, because the machine went
# away, is tried again on another; the lines of a job that failed are dropped with it. The status is 0 when
# all trees were checked, with findings or without.
set -eu
[ $# = 2 ] || { sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2; }

# A check that finds something ends with 3, which is no reason to try again. The variables are the remote
# shell's.
# shellcheck disable=SC2016
find "$2" -mindepth 1 -maxdepth 1 -type d -print0 |
    parallel -0 --sshlogin "$1" --retries 3 --joblog "${JOBLOG:-/dev/null}" \
        'tyksim check --json {}; status=$?; [ $status = 3 ] || exit $status'
