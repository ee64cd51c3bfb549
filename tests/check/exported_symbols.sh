#!/bin/sh
# Compares what a shared library exports with a list, line by line.
# usage: exported_symbols.sh LIBRARY LIST
set -eu
export LC_ALL=C
actual=$(nm --dynamic --defined-only --demangle "$1" | cut -d' ' -f3- | sort -u)
printf '%s\n' "$actual" | diff -u "$2" - || {
    echo "$1 does not export what $2 says" >&2
    exit 1
}
file=$(readelf --dynamic "$1")
case $file in
*RPATH*)
    echo "$1 has an RPATH: LD_LIBRARY_PATH could not put another library first" >&2
    exit 1
    ;;
esac
