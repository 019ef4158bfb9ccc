"""Finds what a C++ header declares and does not define: the names that a host must find in the library."""
import re

TOKEN = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|\w+|::|\S')
GROUPS = {"(": ")", "[": "]", "{": "}"}
# Words with a group of their own that is not a list of parameters.
WITH_GROUP = {"decltype", "alignas", "noexcept", "__attribute__", "__declspec", "throw"}
NO_DECLARATION = {"typedef", "using", "static_assert", "friend", "template"}


def tokens_of(text):
    """Tokens without comments and preprocessor lines. What is in brackets of any kind is one token, a list."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", "", text, flags=re.M)
    stack = [[]]
    for token in TOKEN.findall(text):
        if token in GROUPS:
            stack.append([token])
        elif token in GROUPS.values():
            group = stack.pop()
            stack[-1].append(group)
        else:
            stack[-1].append(token)
    if len(stack) != 1:
        raise ValueError("brackets do not match")
    return stack[0]


def is_group(token, opening):
    return isinstance(token, list) and token[0] == opening


def is_name(token):
    return isinstance(token, str) and re.fullmatch(r"[A-Za-z_]\w*", token) is not None


def is_scope(statement):
    """Whether the braces after these tokens hold declarations of the same kind as around them."""
    return "namespace" in statement or statement == ["extern", '"C"'] or statement == ["extern", '"C++"']


def is_record(statement):
    return not any(is_group(token, "(") for token in statement) and any(
        word in statement for word in ("class", "struct", "union"))


def is_initializer(statement):
    """Whether the braces after these tokens are a value, as in `a = {1}`, `a{1}` and `X() : a{1} {}`."""
    if not statement:
        return False
    parameters = any(is_group(token, "(") for token in statement)
    return "=" in statement or (is_name(statement[-1]) and (not parameters or ":" in statement))


def function_name(statement):
    """The name before the first list of parameters; None where there is none, or where a value comes first."""
    for before, token in zip(statement, statement[1:]):
        if before == "=" and "operator" not in statement:
            return None
        if is_group(token, "(") and isinstance(before, str) and before not in WITH_GROUP and token[1:2] != ["*"]:
            return before if is_name(before) else "operator" + before
    return None


def variable_name(statement):
    """The name that `extern ... name`, `name[3]` or `(*name)(...)` declares."""
    if "extern" not in statement:
        return None
    for token in statement:
        if is_group(token, "(") and token[1:2] == ["*"]:
            return next(name for name in token[2:] if is_name(name))
    names = [token for token in statement if is_name(token)]
    return names[-1] if names else None


def scan(tokens, in_record, declared, defined):
    statement = []
    for token in tokens:
        if token == ";":
            declare(statement, in_record, declared)
            statement = []
        elif token == ":" and statement and statement[-1] in ("public", "private", "protected"):
            statement = []
        elif not is_group(token, "{"):
            statement.append(token)
        elif is_scope(statement):
            scan(token[1:], False, declared, defined)
            statement = []
        elif "enum" in statement:
            continue
        elif is_record(statement):
            if "template" not in statement:
                scan(token[1:], True, declared, defined)
            statement = ["typedef"]  # what follows up to the semicolon is a variable at most
        elif not is_initializer(statement):
            name = function_name(statement)
            if name is not None:
                defined.add(name)
            statement = []


def declare(statement, in_record, declared):
    if not statement or statement[0] in NO_DECLARATION or "enum" in statement:
        return
    if not in_record and "static" in statement:
        return
    if statement[-2:-1] == ["="] and statement[-1] in ("0", "default", "delete"):
        return
    name = function_name(statement)
    if name is None and not in_record:
        name = variable_name(statement)
    if name is not None:
        declared.add(name)


def declared_names(text):
    """Names of functions, member functions and variables that the text declares without defining them."""
    declared, defined = set(), set()
    scan(tokens_of(text), False, declared, defined)
    return declared - defined
