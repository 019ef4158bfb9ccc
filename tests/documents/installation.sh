#!/usr/bin/env bash
# What `cmake --install` puts where for the tools.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$CMAKE" --install "$BUILD" --component tools --prefix "$work/installed" >"$work/log" 2>&1 || cat "$work/log"
for file in bin/dx7 bin/dx7-device share/bash-completion/completions/dx7 share/bash-completion/completions/dx7-device \
    share/doc/dx7-tools/examples/line.toml share/doc/dx7-tools/dx7.schema.json; do
    [ -s "$work/installed/$file" ] || wrong "$file is not installed"
done
for page in dx7 dx7-device; do
    found=$(MANPATH=$work/installed/share/man man -w 1 $page) || wrong "man does not find $page(1)"
    zcat -f "$found" | cmp - "$SOURCES/docs/man/$page.1" || wrong "$found is another page"
done
version=$("$work/installed/bin/dx7" --version) || wrong "the installed dx7 does not run"
[ "$version" = "$("$DX7" --version)" ] || wrong "the installed dx7 is of $version"
cmp -s "$work/installed/share/doc/dx7-tools/examples/line.toml" "$SOURCES/docs/line.toml" || wrong "another line.toml"
cmp -s "$work/installed/share/doc/dx7-tools/dx7.schema.json" "$SOURCES/docs/dx7.schema.json" || wrong "another dx7.schema.json"
finish "everything is in its place"
