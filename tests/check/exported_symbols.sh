#!/bin/sh
# Compares what a shared library exports with a list, line by line; the list may be one of dpkg-gensymbols.
# usage: exported_symbols.sh LIBRARY LIST
set -eu
export LC_ALL=C
actual=$(nm --dynamic --defined-only --demangle "$1" | cut -d' ' -f3- | sort -u)
listed=$(mktemp)
trap 'rm "$listed"' EXIT
sed -E '/^lib/d; s/^ (\(c\+\+\)")?(.*)@Base.*/\2/' "$2" | sort -u >"$listed"
printf '%s\n' "$actual" | diff -u "$listed" - || {
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
