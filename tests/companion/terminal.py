"""A terminal of a known size, made by tmux, whose screen a test can read."""

import os
import shlex
import subprocess
import tempfile

from harness import wait_until


class Terminal:
    """Runs a command on a screen of its own; leaving the `with` block ends both.

    The tmux server is this terminal's alone, so that ending it ends nothing else. HOME is a folder of its
    own: a shell at a keyboard writes its history there.
    """

    def __init__(self, command, columns=80, rows=24, environment=None):
        self._folder = tempfile.TemporaryDirectory()
        self._socket = os.path.join(self._folder.name, "tmux")
        line = "exec " + " ".join(shlex.quote(str(word)) for word in command)
        size = ["-x", str(columns), "-y", str(rows)]
        variables = {**os.environ, "LC_ALL": "C.UTF-8", "HOME": self._folder.name, **(environment or {})}
        self._tmux("-f", "/dev/null", "new-session", "-d", *size, line, env=variables)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._tmux("kill-server")
        self._folder.cleanup()

    def _tmux(self, *arguments, **options):
        command = ["tmux", "-S", self._socket, *arguments]
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, encoding="utf-8", **options).stdout

    def screen(self):
        """The lines of the screen, without blanks at their ends and without empty lines at the end."""
        return [line.rstrip() for line in self._tmux("capture-pane", "-p").rstrip("\n").split("\n")]

    def type(self, *keys):
        self._tmux("send-keys", "--", *keys)

    def resize(self, columns, rows):
        self._tmux("resize-window", "-x", str(columns), "-y", str(rows))

    def expect(self, condition, what):
        """Waits until the screen is as it must be; the screen is in the message when it never is."""
        try:
            wait_until(lambda: condition(self.screen()), what)
        except AssertionError as error:
            raise AssertionError(f"{error}; the screen:\n" + "\n".join(self.screen())) from None

    def expect_screen(self, lines):
        self.expect(lambda screen: screen == lines, "this screen:\n" + "\n".join(lines))
