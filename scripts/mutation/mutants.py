"""Small source changes to the driver, each on one place of one line."""

import random
import re
from collections import namedtuple

Mutant = namedtuple("Mutant", "file line column kind before after")

# Binary operators are between blanks (the formatter sees to it), so template brackets are not taken for them.
SWAPS = [swap.split() for swap in (
    "== !=", "!= ==", "< <= >=", "<= < >", "> >= <=", ">= > <", "&& ||", "|| &&", "+ -", "- +", "* /", "/ *", "% /",
    "& |", "| &", "<< >>", ">> <<", "+= -=", "|= &=")]
STATEMENT = re.compile(r"^\s*(?:[\w.>\-\[\]():*&, ]+\(.*\)|[\w.\->\[\]]+ (?:[-+|&]?=) .+|(?:\+\+|--)[\w.]+);$")
DECLARATION = re.compile(r"^\s*(?:const |static |return|typedef|using|struct|class|extern|enum|template)")
NUMBER = re.compile(r"(?<![\w.\"'])(0[xX][0-9A-Fa-f]+|\d+)([uU]?)(?![\w.\"'])")
CONDITION = re.compile(r"\b(?:if|while) \((.*)\)(?: \{|;)$")
TABLE_LINE = re.compile(r"^[\s\dxXA-Fa-f,{}]+;?$")


def blanked(text):
    """The text with comments and literals replaced by blanks, every other character at its place."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def changes(code, source, starts_statement):
    """(column, kind, before, after) of every change of one line."""
    for operator, *others in SWAPS:
        for match in re.finditer(f" {re.escape(operator)} ", code):
            for other in others:
                yield match.start(), "operator", match.group(), f" {other} "
    for match in NUMBER.finditer(code):
        value = int(match[1], 0)
        for changed in (value + 1, value - 1):
            if changed >= 0:
                yield match.start(), "constant", match[0], (hex if match[1][:2].lower() == "0x" else str)(changed) + match[2]
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.start(), "constant", match[0], "false" if match[0] == "true" else "true"
    for match in re.finditer(r"(?<![+\w])\+\+(?=[\w])", code):
        yield match.start(), "operator", "++", "--"
    for match in CONDITION.finditer(code):
        inner = source[match.start(1):match.end(1)]
        yield match.start(1), "condition", inner, f"!({inner})"
    # Removing the rest of a statement that began on a line above is another change.
    if starts_statement and STATEMENT.match(code) and not DECLARATION.match(code) and not code.strip().startswith(("}", ":")):
        yield len(code) - len(code.lstrip()), "statement", source.strip(), ";"


def mutants_of(path):
    text = path.read_text()
    starts_statement = True
    for number, (code, source) in enumerate(zip(blanked(text).split("\n"), text.split("\n")), 1):
        stripped = code.strip()
        if not stripped or stripped.startswith("#"):
            continue
        # Assertions are compiled out of what is tested here.
        if "Q_ASSERT" not in code and "static_assert" not in code:
            for change in changes(code, source, starts_statement):
                yield Mutant(path.name, number, *change), bool(TABLE_LINE.match(source))
        starts_statement = stripped.endswith((";", "{", "}", ":"))


def in_random_order(folder, seed):
    """The mutants in an order that depends on the seed alone; of those of lines of numbers one in twelve."""
    generator = random.Random(seed)
    pool = [mutant for path in sorted(folder.glob("*.cpp")) for mutant, in_table in mutants_of(path)
            if not in_table or generator.random() < 1 / 12]
    generator.shuffle(pool)
    return pool


def apply(text, mutant):
    lines = text.split("\n")
    line = lines[mutant.line - 1]
    assert line[mutant.column:].startswith(mutant.before), mutant
    lines[mutant.line - 1] = line[:mutant.column] + mutant.after + line[mutant.column + len(mutant.before):]
    return "\n".join(lines)
