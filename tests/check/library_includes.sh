#!/bin/sh
# The library may include its own folders and external/, never the stand-ins.
# usage: library_includes.sh SOURCE_DIR
set -eu
cd "$1"
status=0
grep -rnE '#[[:space:]]*include.*(framework|tools|emulator|tests|benchmarks)/' plugin commands devices external || status=$?
[ "$status" -eq 1 ] || {
    echo "The lines above reach from the library into a stand-in, or a folder is missing" >&2
    exit 1
}
