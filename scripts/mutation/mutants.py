"""Small source changes to the driver, each on one place of one line."""

import random
import re
from collections import namedtuple

Mutant = namedtuple("Mutant", "file line column kind before after")

# Binary operators stand between blanks (the formatter sees to it), so template brackets are not taken for them.
SWAPS = {
    " == ": [" != "],
    " != ": [" == "],
    " < ": [" <= ", " >= "],
    " <= ": [" < ", " > "],
    " > ": [" >= ", " <= "],
    " >= ": [" > ", " < "],
    " && ": [" || "],
    " || ": [" && "],
    " + ": [" - "],
    " - ": [" + "],
    " * ": [" / "],
    " / ": [" * "],
    " % ": [" / "],
    " & ": [" | "],
    " | ": [" & "],
    " << ": [" >> "],
    " >> ": [" << "],
    " += ": [" -= "],
    " |= ": [" &= "],
}
STATEMENT = re.compile(r"^\s*(?:[\w.>\-\[\]():*&, ]+\(.*\)|[\w.\->\[\]]+ (?:[-+|&]?=) .+|(?:\+\+|--)[\w.]+);$")
DECLARATION = re.compile(r"^\s*(?:const |static |return|typedef|using|struct|class|extern|enum|template)")
NUMBER = re.compile(r"(?<![\w.\"'])(0[xX][0-9A-Fa-f]+|\d+)([uU]?)(?![\w.\"'])")
CONDITION = re.compile(r"\b(if|while) \(")
TABLE_LINE = re.compile(r"^[\s\dxXA-Fa-f,{}]+;?$")


def blanked(text):
    """The text with comments and literals replaced by blanks, every other character at its place."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def closing(line, opening):
    depth = 0
    for i in range(opening, len(line)):
        depth += {"(": 1, ")": -1}.get(line[i], 0)
        if depth == 0:
            return i
    return -1


def mutants_of_line(code, source):
    """(column, kind, before, after) of every change of one line."""
    for operator, others in SWAPS.items():
        at = code.find(operator)
        while at >= 0:
            for other in others:
                yield at, "operator", operator, other
            at = code.find(operator, at + 1)
    for match in NUMBER.finditer(code):
        value = int(match.group(1), 0)
        for changed in (value + 1, value - 1):
            if changed >= 0:
                text = hex(changed) if match.group(1).lower().startswith("0x") else str(changed)
                yield match.start(), "constant", match.group(), text + match.group(2)
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.start(), "constant", match.group(), "false" if match.group() == "true" else "true"
    for match in re.finditer(r"(?<![+\w])\+\+(?=[\w])", code):
        yield match.start(), "operator", "++", "--"
    for match in CONDITION.finditer(code):
        end = closing(code, match.end() - 1)
        if end > 0:
            inner = source[match.end():end]
            yield match.end(), "condition", inner, "!(" + inner + ")"
    if STATEMENT.match(code) and not DECLARATION.match(code) and not code.strip().startswith(("}", ":")):
        start = len(code) - len(code.lstrip())
        yield start, "statement", source.strip(), ";"


def all_mutants(path, name):
    text = path.read_text()
    sources = text.split("\n")
    codes = blanked(text).split("\n")
    previous_ends = True
    for number, (code, source) in enumerate(zip(codes, sources), 1):
        stripped = code.strip()
        if not stripped or stripped.startswith("#"):
            continue
        # Assertions are compiled out of what is tested here; their texts may go over several lines.
        if "Q_ASSERT" not in code and "static_assert" not in code:
            for column, kind, before, after in mutants_of_line(code, source):
                # Removing the rest of a statement that began on a line above is another change.
                if kind == "statement" and not previous_ends:
                    continue
                yield Mutant(name, number, column, kind, before, after)
        previous_ends = stripped.endswith((";", "{", "}", ":"))


def chosen(folder, count, seed):
    """`count` mutants in a fixed random order: the files by turns weighted by their size, tables one in twelve."""
    pool = []
    for path in sorted(folder.glob("*.cpp")):
        lines = path.read_text().split("\n")
        for mutant in all_mutants(path, path.name):
            weight = 1 / 12 if TABLE_LINE.match(lines[mutant.line - 1]) else 1.0
            pool.append((mutant, weight))
    generator = random.Random(seed)
    # Weighted shuffle (Efraimidis and Spirakis): independent of the order of any dictionary.
    pool.sort(key=lambda entry: -generator.random() ** (1 / entry[1]))
    return [mutant for mutant, _ in pool[:count]], len(pool)


def apply(text, mutant):
    lines = text.split("\n")
    line = lines[mutant.line - 1]
    assert line[mutant.column:].startswith(mutant.before), mutant
    lines[mutant.line - 1] = line[:mutant.column] + mutant.after + line[mutant.column + len(mutant.before):]
    return "\n".join(lines), line, lines[mutant.line - 1]
