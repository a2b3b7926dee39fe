#!/bin/sh
# Fails when a library calls for files or memory what the device in memory does not stand in for.
# Usage: calls.sh <nm> <library> <objects of the device>...
set -u
nm=$1
library=$2
shift 2
called=$("$nm" -D --undefined-only "$library") || exit 1
stands=$("$nm" --defined-only "$@") || exit 1
# Language support, sanitizers and coverage; what works on the memory it is given. Of C++ everything
# but the files of the standard library: the rest goes through the C library's calls.
printf '%s\n' "$called" | awk -v stands="$stands" '
    BEGIN { count = split(stands, word, /[ \n]+/)
            for (i = 1; i <= count; i++) known[word[i]] = 1 }
    { name = $2; sub(/@.*/, "", name) }
    name ~ /(fstream|filebuf|filesystem)/ { print name; next }
    name ~ /^(_Z|_*(cxa|gxx|Unwind|ITM|gmon|errno|libc_single|stack_chk|cfi|aarch64)_|__gmon|_?_?(asan|ubsan|lsan|tsan|sanitizer|gcov|llvm))/ { next }
    name ~ /^(mem|str)[a-z]*$|^(bcmp|__getauxval|snprintf|__snprintf_chk|localtime_r|uselocale|freelocale|property_get)$|^pthread_mutex_/ { next }
    !(("__wrap_" name) in known) { print name }' | grep . || exit 0
echo "$library calls these, and nothing stands in for them" >&2
exit 1
