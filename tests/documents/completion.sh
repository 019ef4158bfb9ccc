#!/usr/bin/env bash
# The completion, as a bash has it after `cmake --install`: every option, command, register type and fault.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$CMAKE" --install "$BUILD" --component tools --prefix "$work/installed" >"$work/log" 2>&1 || cat "$work/log"
completions=$work/installed/share/bash-completion/completions
# shellcheck source=/dev/null
source "$completions/dx7"
# shellcheck source=/dev/null
source "$completions/dx7-device"

# offered LINE: what a Tab behind the line offers, one per line.
offered() {
    local program=$DX7 function=_dx7 spaced
    if [[ $1 == dx7-device* ]]; then
        program=$DX7_DEVICE function=_dx7_device
    fi
    COMP_LINE=$1
    COMP_POINT=${#1}
    spaced=${1//:/ : }
    read -ra COMP_WORDS <<<"${spaced//=/ = }"
    if [[ $1 == *[[:space:]:=] ]]; then
        COMP_WORDS+=('')
    fi
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    "$function" "$program" || true
    printf '%s\n' "${COMPREPLY[@]}"
}
expect() { same "Tab behind \"$1\"" "$(offered "$1")" "$2"; }

for command in "${dx7_commands[@]}"; do
    # shellcheck disable=SC2086 # two words
    expect "dx7 $command -" "$(options_of "$DX7" $command)"
    # An option takes a value just when --help shows one.
    # shellcheck disable=SC2086
    while read -r option value; do
        if [[ $value =~ ^([A-Z]+(\|[A-Z]+)*|[a-z]+(\|[a-z]+)+)(\[|[[:space:]]|$) ]]; then
            _dx7_value "$option" '' || wrong "$command $option takes a value, the completion knows none"
        elif _dx7_value "$option" ''; then
            wrong "$command $option takes no value, the completion thinks so"
        fi
    done < <("$DX7" $command --help | sed -nE 's/^ +(-[a-zA-Z],)?(--[a-z0-9-]+)( [^ ]+)?.*/\2\3/p')
done
expect 'dx7-device -' "$(options_of "$DX7_DEVICE")"
expect 'dx7 m' monitor
expect 'dx7 params ' $'save\ndiff\nload\n-h\n--help'
expect 'dx7 plan --parity e' even
expect 'dx7 plan --parity=o' odd
expect 'dx7 read AI:' ''
formats=$({ "$DX7" check AI:0/nonsense 2>&1 || true; } |
    sed -E 's/.*, use (.*) or (.*)$/\1, \2/; s/=[A-Z]+/=/g' | tr -d ' ' | tr ',' '\n')
[ "$(wc -l <<<"$formats")" -eq 11 ] || wrong "dx7 names other formats: $formats"
# shellcheck disable=SC2001 # each line gets it
expect 'dx7 read AI:0/' "$(sed 's|^|0/|' <<<"$formats")"
expect 'dx7 read F:3.0.25@2/f' 3.0.25@2/f32
expect 'dx7 read AI:0/scale=0.1/un' $'0.1/unsigned\n0.1/unit='
expect 'dx7 read F' $'F:\nFIN:\nFAS:'
expect 'dx7 read ' "$("$DX7" types --json | sed -E 's/.*"type":"([^"]*)".*/\1:/')"
faults_known=$({ "$DX7_DEVICE" --pty "$work/x" --fault nonsense=1 2>&1 || true; } |
    sed -E 's/.*: use (.*), or none alone$/\1/' | tr -d ' ' | tr ',' '\n' | sed -E 's/\[.*//; s/=.*/=/')
[ "$(wc -l <<<"$faults_known")" -eq 12 ] || wrong "the device names other faults: $faults_known"
expect 'dx7-device --fault ' "$faults_known"
expect 'dx7-device --fault drop=0.1,la' 0.1,late=
expect 'dx7-device --fault echo,sec' echo,second-master=
expect 'dx7-device --copy-after ' ''
touch "$work/settings.toml"
expect "dx7 read -c $work/set" "$work/settings.toml"
expect "dx7 params load $work/set" "$work/settings.toml"
expect "dx7 replay $work/set" "$work/settings.toml"
expect "dx7-device --values $work/set" "$work/settings.toml"

# Typed on a terminal, with the completion found by its name.
loader=/usr/share/bash-completion/bash_completion
if [ -r $loader ]; then
    mkdir "$work/bin"
    printf '#!/bin/sh\ncase "$*" in *--help*) exec "%s" "$@" ;; esac\necho "typed <$*>"\n' "$DX7" >"$work/bin/dx7"
    chmod +x "$work/bin/dx7"
    # The shell must have read its settings before it is typed to.
    printf 'PS1="$ "\nPATH=%s:$PATH\nXDG_DATA_DIRS=%s/share\nsource %s\n' "$work/bin" "$work/installed" $loader >"$work/rc"
    screen=$(printf 'dx7 mon\t--sta\t--par\te\tCW\t0\nexit\n' |
        script -qec "bash --rcfile $work/rc -i" /dev/null | tr -d '\r')
    grep -q 'typed <monitor --stats --parity even CW' <<<"$screen" || wrong "typed on a terminal: $screen"
else
    echo "bash-completion is not installed; nothing was typed on a terminal"
fi
finish "the completion offers what the programs take"
