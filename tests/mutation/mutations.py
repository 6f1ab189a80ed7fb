"""The list of mutations, mutations.toml."""

import dataclasses
import pathlib
import tomllib

LIST = pathlib.Path(__file__).resolve().with_name("mutations.toml")
REQUIRED = {"file", "old", "new", "breaks"}
OPTIONAL = {"equivalent"}


class BadMutation(Exception):
    """The list can't be used; the text is one sentence."""


@dataclasses.dataclass(frozen=True)
class Mutation:
    file: str  # below dns_proxy_mac
    old: str  # stands in the file exactly once
    new: str
    breaks: str  # what goes wrong, in words
    equivalent: str = ""  # why nobody can notice

    def title(self):
        return f"{self.file}: {self.breaks}"

    def path(self, tree):
        return tree / "dns_proxy_mac" / self.file


def load(root):
    """Every mutation, each checked against the sources in `root`."""
    try:
        entries = tomllib.loads(LIST.read_text())["mutation"]
    except (OSError, tomllib.TOMLDecodeError, KeyError) as error:
        raise BadMutation(f"{LIST.name} can't be read: {error}") from error
    return [checked(entry, root) for entry in entries]


def checked(entry, root):
    keys = set(entry)
    if not REQUIRED <= keys or keys - REQUIRED - OPTIONAL:
        raise BadMutation(f"a mutation needs {sorted(REQUIRED)} and may have {sorted(OPTIONAL)}: {entry}")
    mutation = Mutation(**entry)
    try:
        count = mutation.path(root).read_text().count(mutation.old)
    except OSError as error:
        raise BadMutation(f"'{mutation.title()}': its file can't be read ({error.strerror})") from error
    if count != 1:
        raise BadMutation(f"'{mutation.title()}': its old text stands {count} times in the file, not once")
    if mutation.old == mutation.new:
        raise BadMutation(f"'{mutation.title()}': the new text is the old one")
    return mutation


def select(mutations, texts):
    """Those that contain one of the texts; all without texts."""
    if not texts:
        return mutations
    for text in texts:
        if not any(text in mutation.title() for mutation in mutations):
            raise BadMutation(f"no mutation's file or description contains '{text}'")
    return [mutation for mutation in mutations if any(text in mutation.title() for text in texts)]
