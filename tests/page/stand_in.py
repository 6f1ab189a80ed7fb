"""A program in the place of dns_proxy_ctl, which does what a test wants."""

import json

from harness import wait_until


class StandIn:
    """Runs `script` with what it is asked for, "status" or "check", as its first argument."""

    def __init__(self, folder, script):
        self.path = folder / "companion"
        self._runs = folder / "runs"
        self.path.write_text(f'#!/bin/sh\necho "$1" >>{self._runs}\n{script}\n')
        self.path.chmod(0o755)

    def runs(self):
        return self._runs.read_text().split() if self._runs.exists() else []

    def wait_for_both(self, page):
        """Until what both commands say has been taken; they are run while somebody looks."""

        def have_run():
            page.get("/api/now")
            return self.runs()[:3] == ["status", "check", "status"]

        wait_until(have_run, "the runs of the companion")


def printing(folder, status, check):
    """One that prints these documents."""
    for name, document in (("status", status), ("check", check)):
        (folder / f"{name}.json").write_text(json.dumps(document))
    return StandIn(folder, f'cat "{folder}/$1.json"')
