#!/usr/bin/env python3
"""Compares what the driver's headers declare with what the library exports, in both directions.

Usage: declared_names.py VERSION_SCRIPT HEADER...
A host can link whatever it finds declared: a function that is declared, not defined in the header and not exported
is a mistake, and so is an exported name that no header declares. Exit code: 0 they agree, 1 they do not.
"""
import re
import sys

from declarations import declared_names


def exported(version_script):
    block = re.search(r"global:(.*?)local:", version_script, flags=re.S).group(1)
    return [name.strip() for name in block.split(";") if name.strip()]


def main(arguments):
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    with open(arguments[1], encoding="utf-8") as script:
        exports = set(exported(script.read()))
    names = set()
    for path in arguments[2:]:
        with open(path, encoding="utf-8") as header:
            names.update(declared_names(header.read()))
    for name in sorted(names - exports):
        print(f"{name} is declared, but the library does not export it: a host cannot link it")
    for name in sorted(exports - names):
        print(f"{name} is exported, but no header declares it")
    print(f"{len(names)} names are declared, {len(exports)} exported")
    return 0 if names == exports else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
