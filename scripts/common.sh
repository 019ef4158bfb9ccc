# Shared by the scripts of this folder; sourced, not run.
# shellcheck shell=bash

set -euo pipefail

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }
note() { printf '   %s\n' "$*"; }
# figure TEXT...: a result worth a place in CI's table.
figure() {
    note "$*"
    [ -z "${DX7_FIGURES:-}" ] || printf '%s\n' "$*" >>"$DX7_FIGURES"
}
fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}
# wrong_usage WHAT: says so, and how it is used. For scripts with a function usage.
wrong_usage() {
    printf '%s: %s\n\n' "$(basename "$0")" "$1" >&2
    usage >&2
    exit 2
}
# quietly WHAT COMMAND...: runs it, shows its output only when it fails.
quietly() {
    local what=$1 log
    shift
    log=$(mktemp)
    "$@" >"$log" 2>&1 || {
        cat "$log" >&2
        rm -f "$log"
        fail "$what failed; see above"
    }
    rm -f "$log"
}

# The scripts that source this file use these lists.
# shellcheck disable=SC2034
build_packages=(
    build-essential cmake ninja-build pkg-config ccache
    qtbase5-dev
    libcli11-dev nlohmann-json3-dev libtomlplusplus-dev libpcap-dev libncurses-dev libmodbus-dev
)
# shellcheck disable=SC2034
test_packages=(
    libgtest-dev libgmock-dev librapidcheck-dev libqt5serialbus5-dev libqt5serialport5-dev
    mbpoll tmux tshark valgrind binutils man-db
    bash-completion zsh fish bsdutils locales python3 python3-jsonschema
)
# shellcheck disable=SC2034
sanitizer_packages=(clang libclang-rt-14-dev)
# shellcheck disable=SC2034
lint_packages=(clang clang-format clang-tidy cppcheck shellcheck git)

missing_packages() {
    local name
    for name in "$@"; do
        if [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null || true)" != installed ]; then
            printf '%s\n' "$name"
        fi
    done
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        fail "root is needed for '$*': run this as root, or install sudo, or do that yourself first"
    fi
}

# Installs the named Debian packages that are missing. Scripts that run at the same time take turns: apt refuses two.
install_packages() {
    local lock
    if [ -z "$(missing_packages "$@")" ]; then
        return
    fi
    mkdir -p "$project/build"
    exec {lock}>"$project/build/.packages.lock"
    flock "$lock"
    install_missing "$@" {lock}>&-
    exec {lock}>&-
}

# An index that fails to refresh for a moment is tried again, and does no harm as long as the packages themselves can be
# had.
install_missing() {
    local log
    local -a wanted=()
    mapfile -t wanted < <(missing_packages "$@")
    if [ "${#wanted[@]}" -eq 0 ]; then
        return
    fi
    command -v apt-get >/dev/null 2>&1 ||
        fail "this script installs Debian packages and finds no apt-get; install the equivalents of these: ${wanted[*]}"
    say "Installing ${#wanted[@]} missing package(s): ${wanted[*]}"
    local attempt
    for attempt in 1 2 3; do
        if as_root apt-get update -qq; then
            break
        fi
        note "the package index could not be refreshed (attempt $attempt of 3)"
        sleep $((attempt * 3))
    done
    log=$(mktemp)
    for attempt in 1 2 3; do
        if as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${wanted[@]}" \
            >"$log" 2>&1; then
            rm -f "$log"
            return
        fi
        note "installation failed (attempt $attempt of 3)"
        sleep $((attempt * 3))
    done
    tail -n 15 "$log" >&2
    rm -f "$log"
    fail "these packages are still missing: $(missing_packages "${wanted[@]}" | tr '\n' ' ')"
}

# Objects of one source folder serve another with the same sources, such as a fresh clone.
export CCACHE_BASEDIR=${CCACHE_BASEDIR-$project}
# Without these the cache leaves alone what uses precompiled headers. No source asks for the date or its own time.
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros}

# configure PRESET FOLDER [CMAKE-OPTION...]: silent unless it fails.
configure() {
    local preset=$1 folder=$2
    shift 2
    quietly "configuring the preset '$preset'" \
        cmake -S "$project" --preset "$preset" -B "$folder" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
}
