#!/usr/bin/env bash
# The manual pages are free of warnings, are found by whatis, and name the options of --help, no more and no fewer.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# The page without what stands for a plain hyphen.
plain_page() { sed 's/\\-/-/g' "$SOURCES/docs/man/$1.1"; }

# options_in TEXT: the options that a part of a page explains: those of its tags.
options_in() {
    awk '/^\.TP/ { tag = 1; next } tag { print; tag = 0 }' <<<"$1" |
        grep -oE -- '(^|[" ])--?[a-zA-Z][a-z0-9-]*' | tr -d '" ' | sort -u || true
}

# section PAGE KIND TITLE: what stands between this title and the next one of its kind or above.
section() {
    plain_page "$1" | awk -v kind=".$2" -v title="$3" '
        $1 == ".SH" || (kind == ".SS" && $1 == ".SS") { inside = ($1 == kind && index($0, title) == length(kind) + 2) }
        inside'
}

for page in dx7 dx7-device; do
    warnings=$(MANWIDTH=80 man --warnings -E UTF-8 -l "$SOURCES/docs/man/$page.1" 2>&1 >/dev/null)
    [ -z "$warnings" ] || wrong "$page(1): $warnings"
    lexgrog "$SOURCES/docs/man/$page.1" | grep "\"$page - " >/dev/null || wrong "$page(1): its name is not found"
    version=$("$BUILD/$([ $page = dx7 ] && echo host || echo device)/$page" --version)
    plain_page $page | sed -n 2p | grep "korvalent_dx7 ${version##* }\"" >/dev/null || wrong "$page(1): not of ${version##* }"
done

same "dx7-device(1) and its --help" "$(options_in "$(section dx7-device SH OPTIONS)")" \
    "$(options_of "$DX7_DEVICE")"

common=$(options_in "$(section dx7 SH OPTIONS)")
all=$common
shown=$(options_of "$DX7")
for command in "${dx7_commands[@]}"; do
    # shellcheck disable=SC2086 # two words
    options=$(options_of "$DX7" $command)
    own=$(options_in "$(section dx7 SS "dx7 ${command%% *}")")
    for option in $options; do
        grep -qx -- "$option" <<<"$own"$'\n'"$common" || wrong "dx7(1): $command takes $option, which is not explained"
    done
    all+=$'\n'$own
    shown+=$'\n'$options
done
same "dx7(1) and the commands' --help" "$(grep . <<<"$all")" "$shown"

for word in $("$DX7" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
    [ -n "$(section dx7 SS "dx7 $word")" ] || wrong "dx7(1): the command $word has no section"
done
finish "both pages are in order"
