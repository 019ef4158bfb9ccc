#!/usr/bin/env bash
# The completion, as bash, zsh and fish have it after `cmake --install`: commands, options and their values, types,
# formats and ports, the lines and tags of a file. What is asked of the program is compared with its --help; each shell
# is then typed to.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$CMAKE" --install "$BUILD" --component tools --prefix "$work/installed" >"$work/log" 2>&1 || cat "$work/log"
share=$work/installed/share
cd "$work"

# asked PROGRAM WORD...: what the program offers for the last word, one per line, without what is said of it.
asked() {
    local program=$1
    shift
    "$program" __complete "$@" | sed 1d | cut -f1
}
# expect LIST PROGRAM WORD...
expect() {
    local list=$1
    shift
    same "offered for \"${*:2}\"" "$(asked "$@")" "$list"
}
offers_files() { [ "$("$@" | head -1)" = files ] || wrong "no files: $*"; }

for command in "${dx7_commands[@]}"; do
    # shellcheck disable=SC2086 # two words
    expect "$(options_of "$DX7" $command)" "$DX7" $command -
    # An option takes a value just when --help shows one; a number or an address is all that is not offered.
    # shellcheck disable=SC2086
    while read -r option value; do
        offered=$("$DX7" __complete $command "$option" '')
        case $value in
            N | MS | LIST | HOST*) [ "$offered" = words ] || wrong "$command $option $value: $offered" ;;
            FILE | PORT) [[ $offered == files* ]] || wrong "$command $option $value: $offered" ;;
            [A-Z]* | auto*) [[ $offered == words*$'\n'* ]] || wrong "$command $option $value: nothing is offered" ;;
        esac
    done < <("$DX7" $command --help |
        sed -nE 's/^ +(-[a-zA-Z],)?(--[a-z0-9-]+)( [^ ]+)?.*/\2\3/p' | grep -Ev -- '--(baud|data-bits|stop-bits|line) ')
done
expect "$(options_of "$DX7_DEVICE")" "$DX7_DEVICE" -
expect monitor "$DX7" m
expect $'save\ndiff\nload' "$DX7" params ''
expect even "$DX7" plan --parity e
expect --parity=odd "$DX7" plan --parity=o
expect $'115200\n1200\n19200' "$DX7" read --baud 1
expect '' "$DX7" read AI:
# What was given is not offered again, nor is anything behind an unknown command.
expect '' "$DX7" read --json --js
expect '' "$DX7" nonsense ''
types=$("$DX7" types --json | sed -E 's/.*"type":"([^"]*)".*/\1:/')
expect "$types" "$DX7" read ''
expect "$types" "$DX7" read -- ''
expect $'F:\nFIN:\nFAS:' "$DX7" write F
expect '' "$DX7" read --driver "$work/none" F
formats=$({ "$DX7" check AI:0/nonsense 2>&1 || true; } |
    sed -E 's/.*, use (.*) or (.*)$/\1, \2/; s/=[A-Z]+/=/g' | tr -d ' ' | tr ',' '\n')
[ "$(wc -l <<<"$formats")" -eq 11 ] || wrong "dx7 names other formats: $formats"
# shellcheck disable=SC2001 # each line gets it
expect "$(sed 's|^|AI:0/|' <<<"$formats")" "$DX7" read AI:0/
expect F:3.0.25@2/f32 "$DX7" read F:3.0.25@2/f
expect $'AI:0/scale=0.1/unsigned\nAI:0/scale=0.1/unit=' "$DX7" read AI:0/scale=0.1/un
faults_known=$({ "$DX7_DEVICE" --pty "$work/x" --fault nonsense=1 2>&1 || true; } |
    sed -E 's/.*: use (.*), or none alone$/\1/' | tr -d ' ' | tr ',' '\n' | sed -E 's/\[.*//; s/=.*/=/')
[ "$(wc -l <<<"$faults_known")" -eq 12 ] || wrong "the device names other faults: $faults_known"
expect "$faults_known" "$DX7_DEVICE" --fault ''
expect drop=0.1,late= "$DX7_DEVICE" --fault drop=0.1,la
expect $'0.0.0.0' "$DX7_DEVICE" --bind 0
offers_files "$DX7_DEVICE" __complete --values ''
offers_files "$DX7" __complete params load ''
offers_files "$DX7" __complete read --config=
ports=$("$DX7" ports --json 2>/dev/null | sed -nE 's/.*"port":"([^"]*)".*/\1/p')
same ports "$(asked "$DX7" read --serial '' | grep -v /by-id/)" "$ports"

# A plant: lines and tags, also of a file that includes another.
cat >plant.toml <<'END'
line = [{ name = "north", serial = "/dev/ttyUSB0" }, { name = "south hall", tcp = "10.0.0.7" }]
[[device]]
name = "conveyor"
line = "north"
stations = [1, 2]
include = ["drive.toml"]
[[tag]]
name = "pump's $rate"
line = "south hall"
type = "AI"
address = 3
END
printf '[[tag]]\nname = "%s"\ntype = "F"\naddress = "3.0.25"\n' 'speed' 'ramp:up' >drive.toml
both=$'conveyor 1/speed\nconveyor 1/ramp:up\nconveyor 2/speed\nconveyor 2/ramp:up'
expect "$both"$'\n'"pump's \$rate"$'\n'"$types" "$DX7" read -c plant.toml ''
expect "$both" "$DX7" monitor --config=plant.toml --line north conv
expect 'conveyor 2/speed=' "$DX7" write -c plant.toml 'conveyor 2/s'
expect $'north\nsouth hall' "$DX7" scan -c plant.toml --line ''
expect '' "$DX7" read --line ''
# As a shell hands it on, which expands it later.
# shellcheck disable=SC2088
HOME=$work expect 'south hall' "$DX7" read -c '~/plant.toml' --line s
# A file that is broken, none, or one that reading might wait for.
printf '[[tag' >broken.toml
mkfifo pipe.toml
for file in broken.toml missing.toml pipe.toml; do
    expect "$types" "$DX7" read -c $file ''
done

# Typed to: `dx7` shows what it was called with. ESC and the rest are the shells' own drawing.
mkdir bin
printf '#!/bin/sh\ncase "$*" in __complete*) exec "%s" "$@" ;; esac\nprintf "typed"; printf " <%%s>" "$@"; echo\n' \
    "$DX7" >bin/dx7
chmod +x bin/dx7
keys=$(printf 'dx7 mon\t--sta\t--par\te\tRO\t1\n')
keys+=$(printf '\ndx7 write -c pla\tconveyor\\ 2/s\t5\n')
keys+=$(printf '\ndx7 read -c plant.toml --line so\tF:3.0.25@2/f\tpum\t\n')
keys+=$(printf '\ndx7 read -c plant.toml "conveyor 2/r\t\n')
keys+=$(printf '\ndx7 read --config=pla\t--parity=o\tAI:0/sca\t0.1\nexit\n')
calls="typed <monitor> <--stats> <--parity> <even> <RO:1>
typed <write> <-c> <plant.toml> <conveyor 2/speed=5>
typed <read> <-c> <plant.toml> <--line> <south hall> <F:3.0.25@2/f32> <pump's \$rate>
typed <read> <-c> <plant.toml> <conveyor 2/ramp:up>
typed <read> <--config=plant.toml> <--parity=odd> <AI:0/scale=0.1>"

# type_to SHELL COMMAND: types the keys, line by line, and compares what dx7 was called with.
type_to() {
    local called
    called=$(printf '%s\n' "$keys" | script -qec "$2" /dev/null | tr -d '\r' | grep -ao 'typed <.*>') || true
    [ "$called" = "$calls" ] || wrong "typed to $1: $called"
}
# A shell must have read its settings before it is typed to.
loader=/usr/share/bash-completion/bash_completion
printf 'PS1="$ "\nPATH=%s:$PATH\nXDG_DATA_DIRS=%s\nsource %s\n' "$work/bin" "$share" $loader >rc
type_to bash "bash --rcfile $work/rc -i"
mkdir zsh
printf 'PS1="$ "\npath=(%s $path)\nfpath=(%s $fpath)\nautoload -Uz compinit\ncompinit -D\n' "$work/bin" \
    "$share/zsh/vendor-completions" >zsh/.zshrc
ZDOTDIR=$work/zsh type_to zsh "zsh -i"

# fish tells what it offers.
in_fish() {
    local offered
    offered=$(HOME=$work PATH=$work/bin:$PATH fish -N -c "source $share/fish/vendor_completions.d/dx7.fish
complete -C '$1'" | cut -f1)
    same "in fish behind $1" "$offered" "$2"
}
in_fish 'dx7 mon' monitor
in_fish 'dx7 plan --parity e' even
in_fish 'dx7 read -c pla' plant.toml
in_fish 'dx7 read --config=pla' --config=plant.toml
in_fish 'dx7 write -c plant.toml conveyor\\ 2/s' 'conveyor 2/speed='
in_fish 'dx7 read -c plant.toml "conveyor 2/r' 'conveyor 2/ramp:up'
in_fish 'dx7 read -c plant.toml --line s' 'south hall'
in_fish 'dx7 read F:3.0.25@2/f' F:3.0.25@2/f32
finish "the completion offers what the programs take"
