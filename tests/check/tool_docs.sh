#!/bin/bash
# Checks that vrelhost's completion and man page take subcommands, options, commands and parameters from what it tells.
# usage: tool_docs.sh TOOL PACKAGING_DIR
set -u
man_pages=$2/man
. "$2/completion/vrelhost"
status=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit

# The completion asks the same again and again: in place of the tool, its answers.
PATH=$(dirname "$1"):$PATH
vrelhost()
{
    local answer=$scratch/$* lines
    [[ -e $answer ]] || command vrelhost "$@" >"$answer"
    mapfile lines <"$answer"
    printf '%s' "${lines[@]}"
}

fail()
{
    echo "$1" >&2
    status=1
}

# The completions of a command line, sorted.
complete_line()
{
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _vrelhost
    ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}" | sort
}

expect()
{
    local expected=$1
    shift
    diff <(printf '%s' "$expected" | tr '|' '\n' | sort) <(complete_line "$@") ||
        fail "'$*' is not completed to '$expected'"
}

subcommands=$(vrelhost --help | sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z ]*[a-z]\) .*/\1/p')
[[ $subcommands == *run$'\n'* ]] || fail 'vrelhost --help lists no subcommand'
expect "$(cut -d' ' -f1 <<<"$subcommands" | sort -u | paste -sd'|')" vrelhost ''
while read -r subcommand; do
    grep -q "vrelhost $subcommand" "$2"/../docs/*.md || fail "show 'vrelhost $subcommand' on a page of docs/"
done <<<"$subcommands"
expect 'check|create|plug|unplug' vrelhost rig ''
expect '--dev|--exe|--help|--json|--log-format|--log-level|--serial-from|--sysfs|--version' vrelhost scan --
expect 'json|text' vrelhost --log-format ''
expect 'api|exe' vrelhost scan --serial-from ''

usages=$(vrelhost usages)
commands=$(grep -oP '^\t\K[a-z]+' <<<"$usages")
expect "${commands//$'\n'/|}" vrelhost types ''
for command in $commands; do
    grep -qx "## $command" "$2"/../docs/commands-*.md || fail "add a section '## $command' to one of docs/commands-*.md"
    request="'{\"command\": \"$command\", "
    keys=$(sed -n "/^\t$command\t*$/,/^$/ s/^\t* *--\([^ ]*\) .*/\1/p" <<<"$usages" | sort)
    [[ $(complete_line vrelhost run "$request" | grep -oE '[^"]+("?:? ?)$' | tr -d '": ' | sort -u) == "$keys" ]] ||
        fail "The parameters of $command are not completed"
done

expect '{"command": "readbootmedia|{"command": "readtoken' vrelhost run "'{\"command\": \"re"
expect '{"slot": 1, "command": |{"slot": 1, "command":' vrelhost run "'{\"slot\": 1, \"c"
expect '{"command":"clearrpmb", "device": "emmc", |{"command":"clearrpmb", "device": "emmc"}' \
    vrelhost --log-level 5 run --sn X "'{\"command\":\"clearrpmb\", \"device\": \"e"
expect '[{"command": "getcardinfo"}, {"command": "startover", "flags": |[{"command": "getcardinfo"}, {"command": "startover", "flags":' \
    vrelhost station "'[{\"command\": \"getcardinfo\"}, {\"command\": \"startover\", \"f"
expect '' vrelhost types readtoken ''
expect '' vrelhost nonsense ''

# Files, the program's path, and what bash is told.
touch module.bin
expect module.bin vrelhost run mod
expect module.bin vrelhost scan --sysfs mod
expect module.bin vrelhost run - --exe mod
expect '' vrelhost run - mod
expect '{"command" : "erasetoken", "fw_rux" : "module.bin", |{"command" : "erasetoken", "fw_rux" : "module.bin"}' \
    vrelhost run "'{\"command\" : \"erasetoken\", \"fw_rux\" : \"mod"
expect usages '$HOME/bin/vrelhost' us
# With a PATH that leads to no tool.
mkdir programs
for program in awk grep sed sort tr; do
    ln -s "$(type -P $program)" programs/
done
unset -f vrelhost
[[ -z $(PATH=$scratch/programs complete_line vrelhost run "'{\"command\": \"re" 2>&1) ]] ||
    fail 'A missing vrelhost is told of'
[[ $(PATH=$scratch/programs HOME=${1%/bin/*} complete_line '~/bin/vrelhost' us) == usages ]] ||
    fail "A vrelhost in the user's directory is not asked"

[[ $(complete -p vrelhost) == *'-F _vrelhost vrelhost' ]] || fail 'bash is not told how to complete vrelhost'

. "$2/completion/vrelview"
touch ledger.db
for words in '--l --listen' '--title x ledg ledger.db' 'ledger.db --t --title'; do
    COMP_WORDS=("${1%/*}/vrelview" ${words% *})
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _vrelview
    [[ ${COMPREPLY[*]} == "${words##* }" ]] || fail "'vrelview ${words% *}' is completed to '${COMPREPLY[*]}'"
done

# Man pages are made of what the programs tell.
for text in '.SH "OPTIONS"' '.SS "run REQUEST|RECIPE"' '.B \-\-serial\-from <api|exe>' '.B DIR' '$ vrelhost scan \-\-json' $'\twritetoken'; do
    grep -qxF -e "$text" <("$man_pages/make-page" "$man_pages/vrelhost.1.in" "${1%/*}") ||
        fail "vrelhost's man page lacks '$text'"
done
exit $status
