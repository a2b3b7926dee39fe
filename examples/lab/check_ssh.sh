#!/bin/sh
# Checks many trees on several machines over ssh and writes their findings as JSON lines.
#
#   check_ssh.sh LOGINS FOLDER >check.jsonl
#
# LOGINS are those of `parallel --sshlogin`: "lab1,lab2,:". FOLDER has the trees; it has the same path on
# every machine. Each tree is a job. If a machine is lost during a job, another machine runs the job again;
# the lines of failed jobs do not appear. The exit status is 0 if all trees were checked, with or without
# findings.
set -eu
[ $# = 2 ] || { sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2; }

# Status 3 of a check means findings, so parallel must not run it again. The remote shell expands the
# variables.
# shellcheck disable=SC2016
find "$2" -mindepth 1 -maxdepth 1 -type d -print0 |
    parallel -0 --sshlogin "$1" --retries 3 --joblog "${JOBLOG:-/dev/null}" \
        'tyksim check --json {}; status=$?; [ $status = 3 ] || exit $status'
