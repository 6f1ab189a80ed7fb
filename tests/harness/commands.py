"""What the commands among the tests share: whatever keeps them from testing ends in one sentence."""

import argparse

UNUSABLE = 2


class CannotTest(Exception):
    """The test cannot begin; the text is one sentence."""


class OneSentenceParser(argparse.ArgumentParser):
    """Says what is wrong with the arguments, without the usage."""

    def error(self, message):
        self.exit(UNUSABLE, f"{self.prog}: {message}.\n")
