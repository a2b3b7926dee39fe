#!/bin/sh
# Fails when a library calls a function for files or memory that the device in memory does not
# replace.
# Usage: calls.sh <nm> <library> <objects of the device>...
set -u
nm=$1
library=$2
shift 2
called=$("$nm" -D --undefined-only "$library") || exit 1
stands=$("$nm" --defined-only "$@") || exit 1
# Allowed: language support, sanitizers and coverage; functions that only work on given memory; all
# of C++ except the standard library's files, because the rest goes through calls of the C library.
printf '%s\n' "$called" | awk -v stands="$stands" '
    BEGIN { count = split(stands, word, /[ \n]+/)
            for (i = 1; i <= count; i++) known[word[i]] = 1 }
    { name = $2; sub(/@.*/, "", name) }
    name ~ /(fstream|filebuf|filesystem)/ { print name; next }
    name ~ /^(_Z|_*(cxa|gxx|Unwind|ITM|gmon|errno|libc_single|stack_chk|cfi|aarch64)_|__gmon|_?_?(asan|ubsan|lsan|tsan|sanitizer|gcov|llvm))/ { next }
    name ~ /^(mem|str)[a-z]*$|^(bcmp|__getauxval|snprintf|__snprintf_chk|localtime_r|uselocale|freelocale|property_get)$|^pthread_mutex_/ { next }
    !(("__wrap_" name) in known) { print name }' | grep . || exit 0
echo "$library calls these, and the device in memory does not replace them" >&2
exit 1
