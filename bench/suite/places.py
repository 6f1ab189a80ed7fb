"""Where the suite finds what it runs and leaves what it writes."""

import pathlib

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
RESULTS = REPOSITORY / "build" / "bench"
BUILD = RESULTS / "cmake"
TOOLS = BUILD / "bench"
PROXY = BUILD / "dns_proxy_mac"
WORK = RESULTS / "work"
CONFIGURATION = pathlib.Path("/var/log/Varnok")


def work_folder():
    WORK.mkdir(parents=True, exist_ok=True)
    return WORK
