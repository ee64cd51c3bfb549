#!/bin/bash
# Checks that vrelhost's man page and completion know every subcommand, option, command and parameter that it lists, and
# that the downloader's man page knows its options.
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

# What the paragraphs of a man page begin with, each after its section's name.
list_paragraphs()
{
    awk '{ gsub(/["\\]/, "") } /^\.S[HS]/ { section = $2 } heads { print section, $2 } { heads = $1 == ".TP" }' "$1"
}

expect_line()
{
    [[ $'\n'$1$'\n' == *$'\n'$2$'\n'* ]] || fail "$3"
}

paragraphs=$(list_paragraphs "$man_pages/vrelhost.1")
help=$(vrelhost --help)
subcommand=
completed=$(complete_line vrelhost --)
subcommands=$(complete_line vrelhost '')
while IFS= read -r line; do
    if [[ $line =~ ^' '{2}([a-z]+) && ${BASH_REMATCH[1]} != "$subcommand" ]]; then
        subcommand=${BASH_REMATCH[1]}
        completed=$(complete_line vrelhost "$subcommand" --)
        grep -qE "^\.SS \"?$subcommand( |$)" "$man_pages/vrelhost.1" || fail "The man page does not tell of $subcommand"
        expect_line "$subcommands" "$subcommand" "vrelhost is not completed by $subcommand"
    fi
    while read -r option values; do
        [[ -n $option ]] || continue
        expect_line "$paragraphs" "${subcommand:-OPTIONS} $option" "The man page has no paragraph on $option"
        expect_line "$completed" "$option" "vrelhost $subcommand is not completed by $option"
        [[ $values != *[a-z]* ]] || expect "$values" vrelhost $subcommand "$option" ''
    done < <(grep -oE -e '--[a-z-]+( [a-z]+(\|[a-z]+)+)?' <<<"$line")
done <<<"--help"$'\n'"$help"
[[ -n $subcommand ]] || fail 'vrelhost --help lists no subcommand'

usages=$(vrelhost usages)
commands=$(grep -oP '^\t\K[a-z]+' <<<"$usages")
expect "${commands//$'\n'/|}" vrelhost types ''
for command in $commands; do
    expect_line "$paragraphs" "COMMANDS $command" "The man page has no paragraph on the command $command"
    request="'{\"command\": \"$command\", "
    keys=$(sed -n "/^\t$command\t*$/,/^$/ s/^\t* *--\([^ ]*\) .*/\1/p" <<<"$usages" | sort)
    [[ $(complete_line vrelhost run "$request" | grep -oE '[^"]+("?:? ?)$' | tr -d '": ' | sort -u) == "$keys" ]] ||
        fail "The parameters of $command are not completed"
done

expect '{"command": "readbootmedia|{"command": "readtoken' vrelhost run "'{\"command\": \"re"
expect '{"slot": 1, "command": |{"slot": 1, "command":' vrelhost run "'{\"slot\": 1, \"c"
expect '{"command":"clearrpmb", "device": "emmc", |{"command":"clearrpmb", "device": "emmc"}' \
    vrelhost --log-level 5 run --sn X "'{\"command\":\"clearrpmb\", \"device\": \"e"
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

paragraphs=$(list_paragraphs "$man_pages/ruxFwDownloader.1")
for option in --command --sn --uid --quiet; do
    expect_line "$paragraphs" "OPTIONS $option" "The downloader's man page has no paragraph on $option"
done
exit $status
