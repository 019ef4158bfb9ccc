#!/usr/bin/env bash
# What installs packages keeps apt's words in a file of its own, shows them when it fails, and leaves nothing behind.
# Usage: apt_log.sh SOURCES WORK
# shellcheck disable=SC2016  # what stands in quotes is for other shells
set -euo pipefail
sources=$1
work=$2

wrong() {
    printf 'apt_log: %s\n' "$1" >&2
    exit 1
}

rm -rf "$work"
mkdir -p "$work/bin" "$work/shared"
printf 'precious\n' >"$work/precious"
# In a shared folder another user can put a link where a fixed name is expected.
ln -s "$work/precious" "$work/shared/dx7-apt.log"

# install OUTCOME: installs a package that is missing, by an apt-get that ends so.
install() {
    printf '#!/bin/sh\n[ "$1" = update ] || { echo "apt speaks"; exit %s; }\n' "$1" >"$work/bin/apt-get"
    printf '#!/bin/sh\nexit 1\n' >"$work/bin/dpkg-query"
    printf '#!/bin/sh\nexec "$@"\n' >"$work/bin/sudo"
    printf '#!/bin/sh\n' >"$work/bin/sleep"
    chmod +x "$work"/bin/*
    PATH=$work/bin:$PATH TMPDIR=$work/shared bash -c 'source "$0/scripts/common.sh"; project=$1; install_packages missing' "$sources" "$work" 2>&1
}

install 0 >"$work/output" || wrong "an installation that works is taken for a failure: $(cat "$work/output")"
! grep -q 'apt speaks' "$work/output" || wrong "what apt says is shown though it works"
if install 1 >"$work/output"; then
    wrong "an installation that fails is taken for a success"
fi
grep -q 'apt speaks' "$work/output" || wrong "what apt says is not shown when it fails"
[ "$(cat "$work/precious")" = precious ] || wrong "the log went through a link in the shared folder"
left=$(find "$work/shared" -mindepth 1 ! -name dx7-apt.log)
[ -z "$left" ] || wrong "left behind: $left"
rm -rf "$work"
