#!/usr/bin/env python3
"""Compares what the driver's headers declare with what the library exports, in both directions.

Usage: declared_names.py VERSION_SCRIPT HEADER...
A host can link whatever it finds declared: a function that is declared, not defined in the header and not exported
is a mistake, and so is an exported name that no header declares. Exit code: 0 they agree, 1 they do not.
"""
import re
import sys


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def at_namespace_scope(text):
    """The text without preprocessor lines and without whatever is in braces; extern "C" { } counts as open."""
    text = re.sub(r'extern\s+"C"\s*\{', 'extern_c_begins;', text)
    text = re.sub(r"^\s*#(?:[^\n]*\\\n)*[^\n]*", "", text, flags=re.M)
    kept, depth = [], 0
    for character in text:
        if character == "{":
            depth += 1
        elif character == "}":
            depth = max(depth - 1, 0)
            if depth == 0:
                kept.append("{}")
        elif depth == 0:
            kept.append(character)
    return "".join(kept)


def declared_in_classes(text):
    """Member functions that are declared in a class or struct without a body."""
    names = []
    for body in re.findall(r"\b(?:class|struct)\s+\w+\s*\{(.*?)\n\};", text, flags=re.S):
        outside = at_namespace_scope(body)
        names += re.findall(r"\b(\w+)\s*\([^;{}]*\)\s*(?:const)?\s*;", outside)
    return [name for name in names if not name.startswith("Q_") and name != "static_assert"]


def declared(text):
    text = without_comments(text)
    names = declared_in_classes(text)
    for statement in at_namespace_scope(text).split(";"):
        statement = statement.split("{}")[-1]
        if re.search(r"\b(typedef|static_assert|static|enum)\b", statement):
            continue
        function = re.search(r"(\w+)\s*\([^()]*\)\s*$", statement)
        variable = re.search(r"\bextern\b[^()]*?(\w+)\s*$", statement)
        if function:
            names.append(function.group(1))
        elif variable:
            names.append(variable.group(1))
    return names


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
            names.update(declared(header.read()))
    for name in sorted(names - exports):
        print(f"{name} is declared, but the library does not export it: a host cannot link it")
    for name in sorted(exports - names):
        print(f"{name} is exported, but no header declares it")
    print(f"{len(names)} names are declared, {len(exports)} exported")
    return 0 if names == exports else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
