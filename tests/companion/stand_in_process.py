"""A process that goes by the proxy's name, driven from the test. What it does is in stand_in.py."""

import os
import pathlib
import shutil
import subprocess
import sys

STAND_IN = pathlib.Path(__file__).resolve().parent / "stand_in.py"


class StandIn:
    """Starts it in `folder`, which every user may pass, by a copy of the interpreter that bears the name."""

    def __init__(self, folder, wrapper=(), arguments=(), name="dns_proxy_mac"):
        program = folder / name
        shutil.copy(os.path.realpath(sys.executable), program)
        command_read, self._commands = os.pipe()
        self._done, done_write = os.pipe()
        environment = {
            **os.environ,
            "PYTHONHOME": sys.base_prefix,
            "STAND_IN_COMMANDS": str(command_read),
            "STAND_IN_DONE": str(done_write),
        }
        with open(STAND_IN, "rb") as script:
            self.process = subprocess.Popen(
                [*wrapper, program, *arguments], stdin=script, env=environment, pass_fds=[command_read, done_write]
            )
        os.close(command_read)
        os.close(done_write)

    def does(self, *commands):
        for command in commands:
            os.write(self._commands, command.encode() + b"\n")
            assert os.read(self._done, 1) == b"."

    def lives(self):
        return self.process.poll() is None

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self._commands)
        os.close(self._done)
