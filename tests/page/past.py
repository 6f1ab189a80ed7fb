"""Databases with a past: a year of totals, and as many single queries as wanted."""

import math
import random
import sqlite3
import subprocess
import time

from page import page_path

DAY = 86400
HOST_MAP, ANSWERED, NO_SUCH_NAME, LOST = range(4)
SERVER_SERIES, ASKED_SERIES, EMPTY_SERIES = 4, 5, 6


def packed(number):
    out = bytearray()
    while number >= 0x80:
        out.append(number & 0x7F | 0x80)
        number >>= 7
    return bytes(out + bytes([number]))


def bucket(microseconds):
    shift = 0
    while microseconds >> shift >= 16:
        shift += 1
    return shift * 8 + (microseconds >> shift) if microseconds >= 8 else microseconds


def times(counts):
    """Bucket counts in the form that the database keeps."""
    out, after = b"", 0
    for place in sorted(counts):
        out += packed(place - after) + packed(counts[place])
        after = place + 1
    return out


def prepare(path):
    """An empty database, made by the program itself."""
    process = subprocess.Popen(
        [page_path(), "--port=0", "--trace=/dev/null/none", f"--database={path}", "--companion=none"],
        stdout=subprocess.PIPE,
    )
    process.stdout.readline()
    process.terminate()
    process.communicate()


def totals_rows(rng, servers, now, width, slots):
    last = now - now % width
    for at in range(slots):
        slot = last - (slots - 1 - at) * width
        hour = slot % DAY / 3600
        busy = (0.25 + max(0.0, math.sin((hour - 6) / 24 * 2 * math.pi))) * width / 600
        count = int(busy * rng.uniform(60, 140))
        split = {HOST_MAP: count // 5, NO_SUCH_NAME: count // 8, LOST: int(rng.random() < 0.02)}
        for series, number in split.items():
            if number:
                yield width, slot, series, 0, number, b""
        for server in range(1, len(servers) + 1):
            number = count // (2 * server * server)
            if not number:
                continue
            counts = {}
            for _ in range(min(number, 24)):
                place = bucket(int(rng.lognormvariate(9.2 + 0.4 * server, 0.45)))
                counts[place] = counts.get(place, 0) + number // 24 + 1
            yield width, slot, ANSWERED, server, number, times(counts)
            yield width, slot, ASKED_SERIES, server, number, b""
            yield width, slot, SERVER_SERIES, server, number, times(counts)


def make(path, servers=("192.0.2.1", "192.0.2.2"), days=365, queries=0, names=20000):
    """A database of `days` of totals and `queries` single queries of the last hours, over `names` names."""
    prepare(path)
    rng = random.Random(7)
    now = int(time.time()) - 600
    with sqlite3.connect(path) as database:
        database.executemany("INSERT INTO servers VALUES(?, ?)", list(enumerate(servers, 1)))
        for width, slots in ((60, 1440), (600, days * 144), (DAY, days)):
            rows = totals_rows(rng, servers, now, width, slots)
            database.executemany("INSERT INTO totals VALUES(?, ?, ?, ?, ?, ?)", rows)
        if queries:
            uses = [0] * names
            rows = []
            for number in range(1, queries + 1):
                name = min(int(rng.expovariate(8) * names), names - 1)
                uses[name] += 1
                outcome = rng.choice((HOST_MAP, ANSWERED, ANSWERED, ANSWERED, NO_SUCH_NAME))
                asked = (now - 80000) * 1000 + number * 80000 * 1000 // queries
                server = rng.randint(1, len(servers)) if outcome == ANSWERED else 0
                rows.append((number, asked, name + 1, outcome, server, rng.randint(500, 50000), 0, 1, None))
            database.executemany(
                "INSERT INTO names VALUES(?, ?, ?)",
                [(at + 1, f"host{at}.department{at % 97}.example", uses[at]) for at in range(names) if uses[at]],
            )
            database.execute("INSERT INTO files VALUES(1, 1, 1)")
            database.executemany("INSERT INTO queries VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)", rows)
            database.execute("INSERT OR REPLACE INTO meta VALUES('last_id', ?)", (queries,))
    database.close()
