#!/bin/sh
# The library may include its own folders and external/, never the stand-ins; in the host tool no room includes one above.
# usage: library_includes.sh SOURCE_DIR
set -eu
cd "$1"

# Fails for includes of the first in the others.
never()
{
    reached=$1
    shift
    status=0
    grep -rnE "#[[:space:]]*include.*$reached/" "$@" || status=$?
    [ "$status" -eq 1 ] || {
        echo "The lines above reach up, or a folder is missing" >&2
        exit 1
    }
}

never '(framework|tools|emulator|tests|benchmarks)' plugin commands devices external
never 'vrelhost' tools/common
cd tools/vrelhost
never 'vrelhost/subcommands' commandline runs request log ledger
never 'vrelhost/commandline' runs request log ledger
never 'vrelhost/runs' commandline request log ledger
never 'vrelhost/request' log ledger
never 'vrelhost/log' ledger
