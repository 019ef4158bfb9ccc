#!/usr/bin/env bash
# The changelog, that of the packages and the programs are of the same version, the changelogs of the same day, and
# every package is named in both.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

changelog=$SOURCES/CHANGELOG.md
packages=$SOURCES/packaging/debian/changelog

read -r version day < <(sed -nE 's/^## ([0-9.]+) - (.*)$/\1 \2/p' "$changelog" | head -n 1)
[[ $day =~ ^[0-9]{4}-[0-9]{2}-[0-9]{2}$ ]] || wrong "CHANGELOG.md: $version is of '$day', not of a day"
debian_version=$(sed -nE '1s/^korvalent-dx7 \(([^)]*)\) .*/\1/p' "$packages")
[ "$version" = "$debian_version" ] || wrong "CHANGELOG.md begins with $version, the packages' with $debian_version"
for program in "$DX7" "$DX7_DEVICE"; do
    [[ $("$program" --version) == *" $version" ]] || wrong "CHANGELOG.md begins with $version, not with $("$program" --version)"
done

signed=$(sed -nE 's/^ -- .*>  (.*)$/\1/p' "$packages" | head -n 1)
debian_day=$(date -u -d "$signed" +%F) || wrong "packaging/debian/changelog: '$signed' is no time"
[ "$day" = "$debian_day" ] || wrong "CHANGELOG.md: $version is of $day, the packages' of $debian_day"

mapfile -t names < <(sed -nE 's/^ *set\(CPACK_DEBIAN_[A-Z]+_PACKAGE_NAME ([a-z0-9-]+)\)$/\1/p' "$SOURCES/cmake/Dx7Debian.cmake")
[ ${#names[@]} -eq 3 ] || wrong "cmake/Dx7Debian.cmake makes other packages than three: ${names[*]}"
for package in "${names[@]}"; do
    grep -q "\`$package\`" "$changelog" || wrong "CHANGELOG.md does not name $package"
    grep -q "^  \* $package:" "$packages" || wrong "packaging/debian/changelog does not name $package"
done
finish "the changelogs agree"
