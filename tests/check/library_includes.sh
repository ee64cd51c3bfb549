#!/bin/sh
# The library may include its own folders and external/, never the stand-ins.
# usage: library_includes.sh SOURCE_DIR
set -eu
cd "$1"
if grep -rnE '#include "(host|emulator|tests)/' plugin commands devices external; then
    echo "The lines above reach from the library into a stand-in" >&2
    exit 1
fi
