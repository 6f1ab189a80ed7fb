"""Python: string constants, each with the test functions that reach it within its file."""

import ast


def _named(node):
    """The names that a top-level statement defines."""
    if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
        return [node.name]
    targets = node.targets if isinstance(node, ast.Assign) else []
    return [target.id for target in targets if isinstance(target, ast.Name)]


def _constants(node):
    """The texts of the constants in a statement, those of formatted strings aside: they are not whole."""
    pieces = {id(part) for inner in ast.walk(node) if isinstance(inner, ast.JoinedStr) for part in inner.values}
    for inner in ast.walk(node):
        if isinstance(inner, ast.Constant) and id(inner) not in pieces:
            if isinstance(inner.value, bytes):
                yield inner.value.decode("latin-1")
            elif isinstance(inner.value, str):
                yield inner.value


def _reached(name, statements, seen):
    """The statements that a name's own statement uses, itself included."""
    if name in seen or name not in statements:
        return
    seen.add(name)
    for inner in ast.walk(statements[name]):
        if isinstance(inner, ast.Name):
            _reached(inner.id, statements, seen)
        elif isinstance(inner, ast.arg):
            _reached(inner.arg, statements, seen)


def lines_of_tests(path):
    """(test, line) for each line of each constant that a test of this file uses."""
    tree = ast.parse(path.read_text(encoding="utf-8"))
    statements = {name: node for node in tree.body for name in _named(node)}
    for test in [name for name in statements if name.startswith("test_")]:
        reached = set()
        _reached(test, statements, reached)
        for name in reached:
            for text in _constants(statements[name]):
                for line in text.split("\n"):
                    yield f"{path.stem}::{test}", line
