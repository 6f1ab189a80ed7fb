"""C++: string literals of the trace's lines and of GoogleTest files.

Reads tokens only, no grammar: enough for sources in one style, where a test is TEST, TEST_F or TEST_P and
whatever stands outside of the tests is found again by its name.
"""

import re

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<raw>R"(?P<mark>[^(\s]*)\((?P<rawtext>.*?)\)(?P=mark)")
      | "(?P<text>(?:[^"\\\n]|\\.)*)"
      | (?P<character>'(?:[^'\\\n]|\\.)')
      | (?P<word>[A-Za-z_]\w*)
      | (?P<number>\d[\w.']*)
      | (?P<sign>[^\s\w])""",
    re.DOTALL | re.VERBOSE,
)
ESCAPE = re.compile(r"\\(x[0-9A-Fa-f]+|[0-7]{1,3}|.)", re.DOTALL)
ESCAPED = {"n": "\n", "t": "\t", "r": "\r", "a": "\a", "b": "\b", "f": "\f", "v": "\v"}
TEST_MACROS = {"TEST", "TEST_F", "TEST_P"}


def _unescaped(match):
    code = match.group(1)
    if code[0] == "x" and len(code) > 1:
        return chr(int(code[1:], 16) & 0xFF)
    if code[0] in "01234567":
        return chr(int(code, 8))
    return ESCAPED.get(code, code)


def tokens(source):
    """(kind, text) with kind "text", "word", "number" or "sign"; neighbouring literals are one."""
    found = []
    for match in TOKEN.finditer(source):
        kind = match.lastgroup
        if kind in ("comment", "character"):
            continue
        if kind in ("raw", "text"):
            text = match.group("rawtext") if kind == "raw" else ESCAPE.sub(_unescaped, match.group("text"))
            if found and found[-1][0] == "text":
                text = found.pop()[1] + text
            found.append(("text", text))
        else:
            found.append((kind, match.group(kind)))
    return found


def constants(source):
    """The text of each `name[] = "text"` of a source, in its order."""
    all_tokens = tokens(source)
    for at, (kind, text) in enumerate(all_tokens):
        if kind == "text" and [token[1] for token in all_tokens[at - 3 : at]] == ["[", "]", "="]:
            yield text


def _definitions(all_tokens):
    """The token lists of a file's top-level definitions; a namespace's braces count for nothing."""
    current, depth, outer = [], 0, 0
    for kind, text in all_tokens:
        if text == "{" and kind == "sign" and depth == 0 and current and current[0][1] in ("namespace", "extern"):
            current, outer = [], outer + 1
            continue
        current.append((kind, text))
        if kind == "sign" and text in "({[":
            depth += 1
        elif kind == "sign" and text in ")}]":
            depth -= 1
            if depth < 0:
                current, depth, outer = [], 0, outer - 1
                continue
        if depth == 0 and kind == "sign" and text in ";}":
            yield current
            current = []


def _name(definition):
    """What a definition is called: a class's name, else the word before its first bracket or sign of value."""
    words = [text for kind, text in definition if kind == "word"]
    if words and words[0] in ("class", "struct"):
        return words[1]
    last = None
    for kind, text in definition:
        if kind == "word":
            last = text
        elif kind == "sign" and text in "([={" and last:
            return last
    return last


def lines_of_tests(path):
    """(test, line) for each line of each literal that a test of this file uses."""
    tests, others = {}, {}
    for definition in _definitions(tokens(path.read_text(encoding="utf-8"))):
        words = [text for kind, text in definition if kind == "word"]
        if words and words[0] in TEST_MACROS:
            tests[f"{words[1]}.{words[2]}"] = definition
        elif words and words[0].startswith("INSTANTIATE_TEST_SUITE"):
            tests[f"{words[2]}/{words[1]}"] = definition
        elif words:
            others.setdefault(_name(definition), []).append(definition)
    for test, definition in tests.items():
        for reached in [definition, *_used(definition, others, set())]:
            for kind, text in reached:
                if kind == "text":
                    for line in text.split("\n"):
                        yield f"{path.stem} {test}", line


def _used(definition, others, seen):
    """The definitions that this one names, and those that they name."""
    for kind, text in definition:
        if kind == "word" and text in others and text not in seen:
            seen.add(text)
            for other in others[text]:
                yield other
                yield from _used(other, others, seen)
