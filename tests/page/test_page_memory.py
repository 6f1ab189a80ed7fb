"""What is remembered, whatever happens to the program, its disk and its database."""

import contextlib
import os
import random
import sqlite3
import subprocess
import threading
import time

import past
from harness import wait_until
from page import START, Page, filed

KILLS = 100
WRITINGS_A_LIFE = 60


def remembered(path):
    """Name and times seen of every single query, and the sum of the totals, straight from the file."""
    with contextlib.closing(sqlite3.connect(path)) as database:
        rows = database.execute("SELECT n.name, count(*) FROM queries AS q JOIN names AS n ON n.id = q.name GROUP BY 1")
        totals = database.execute("SELECT width, sum(queries) FROM totals WHERE series = 0 GROUP BY 1")
        return dict(rows.fetchall()), dict(totals.fetchall())


def test_killed_at_random_moments_it_counts_every_query_once(folder):
    trace = folder / "trace"
    trace.write_bytes(START)
    is_over, written = threading.Event(), [0]
    turns = threading.Semaphore(0)  # or a busy machine, on which a page takes long to start, has far more to read

    def write():
        with open(trace, "ab", buffering=0) as output:
            while turns.acquire() and not is_over.is_set():
                number = written[0]
                text = b"".join(filed(f"n{number + at}.example", number + at) for at in range(20))
                cut = number * 7919 % len(text)
                output.write(text[:cut])
                output.write(text[cut:])
                written[0] = number + 20
                time.sleep(0.002)

    writer = threading.Thread(target=write)
    writer.start()
    rng = random.Random(12)
    try:
        for _ in range(KILLS):
            turns.release(WRITINGS_A_LIFE)
            page = Page(folder)
            time.sleep(rng.uniform(0, 0.12))
            if rng.random() < 0.5:
                page.get("/api/names")  # which has all that was seen written
            page.kill()
    finally:
        is_over.set()
        turns.release()
        writer.join()
    with Page(folder) as page:
        page.wait_for(host_map=written[0])
        page.get("/api/names")
        names, totals = remembered(page.database)
    assert names == {f"n{number}.example": 1 for number in range(written[0])}
    assert totals == {60: written[0], 600: written[0], 86400: written[0]}


def test_a_full_disk_is_waited_out(folder):
    small = folder / "small"
    small.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=8m", "none", small], check=True)
    try:
        trace = folder / "trace"
        trace.write_bytes(START)
        with Page(folder, database=small / "memory.db") as page:
            page.wait_until_serving()
            filler = small / "filler"
            with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as full:
                while True:
                    full.write(bytes(1 << 16))
            with open(trace, "ab") as output:
                output.write(b"".join(filed(f"n{number}.example", number) for number in range(2000)))
            page.wait_for(is_written=False, host_map=2000)
            page.request("/api/names")
            wait_until(lambda: page.get("/api/now")["memory"]["failing"], "the failure on the page")
            filler.unlink()
            page.request("/api/names")
            wait_until(lambda: not page.get("/api/now")["memory"]["failing"], "the database to be written again")
            page.wait_for(host_map=2000)
            names, totals = remembered(page.database)
            assert (len(names), totals[600]) == (2000, 2000)
        assert page.errors.count("\n") == 2, page.errors
        assert "It is tried again until it works." in page.errors
        assert page.errors.endswith("The database is written again.\n")
    finally:
        subprocess.run(["umount", "-l", small], check=True)


def test_a_damaged_database_is_put_aside_and_begun_anew(folder):
    (folder / "trace").write_bytes(START + filed("a.example", 0))
    (folder / "memory.db").write_bytes(b"no database at all" * 1000)
    with Page(folder) as page:
        page.wait_for(host_map=1)
        assert page.get("/api/queries")["count"] == 1
    assert (folder / "memory.db.damaged").read_bytes() == b"no database at all" * 1000
    assert page.errors.count("\n") == 1
    assert page.errors.endswith(f"It was put aside as {folder}/memory.db.damaged and begun from the start.\n")


def test_a_database_damaged_within_is_put_aside_too(folder):
    trace = folder / "trace"
    trace.write_bytes(START + b"".join(filed(f"n{number}.example", number) for number in range(5000)))
    with Page(folder) as page:
        page.wait_for(host_map=5000)
        page.get("/api/names")
    with open(folder / "memory.db", "r+b") as database:
        database.seek(8192)
        database.write(os.urandom(100000))
    with Page(folder) as page:
        page.wait_for(host_map=5000)
        assert page.get("/api/queries")["count"] == 5000
    assert page.errors.count("\n") == 1


def test_names_are_private(folder):
    (folder / "trace").write_bytes(START + filed("a.example", 0))
    with Page(folder, umask=0) as page:
        page.wait_for(host_map=1)
        page.get("/api/names")
        assert {path.name: oct(path.stat().st_mode & 0o777) for path in folder.glob("memory.db*")} == {
            "memory.db": "0o640", "memory.db-wal": "0o640", "memory.db-shm": "0o640"
        }


def test_single_queries_are_not_kept_when_they_are_turned_off(folder):
    trace = folder / "trace"
    trace.write_bytes(START + filed("first.example", 0))
    with Page(folder) as page:
        page.wait_for(host_map=1)
    with open(trace, "ab") as output:
        output.write(filed("second.example", 1))
    with Page(folder, "--query-hours=0") as page:
        page.wait_for(host_map=2)
        assert page.get("/api/queries")["queries"] == []
    with contextlib.closing(sqlite3.connect(folder / "memory.db")) as database:
        assert database.execute("SELECT count(*) FROM names").fetchone() == (0,)


def test_old_queries_are_forgotten_and_their_names_with_them(folder):
    past.make(folder / "memory.db", days=2, queries=300, names=20)
    with contextlib.closing(sqlite3.connect(folder / "memory.db")) as database, database:
        database.execute("UPDATE queries SET asked = asked - 86400000 WHERE id <= 200")
        database.execute("UPDATE totals SET slot = slot - 402 * 86400 WHERE width = 600 AND slot % 1200 = 0")
    (folder / "trace").write_bytes(START + filed("new.example", 0))
    with Page(folder) as page:
        wait_until(lambda: page.get("/api/queries")["count"] == 101, "the old ones to go")
    with contextlib.closing(sqlite3.connect(folder / "memory.db")) as database:
        assert database.execute("SELECT sum(uses) FROM names").fetchone() == (101,)
        assert database.execute("SELECT count(*) FROM names WHERE uses < 1").fetchone() == (0,)
        assert database.execute("SELECT count(*) FROM totals WHERE slot % 1200 = 0 AND width = 600"
                                " AND slot < unixepoch() - 400 * 86400").fetchone() == (0,)


def test_the_database_keeps_to_its_size(folder):
    trace = folder / "trace"
    trace.write_bytes(START)
    with Page(folder, "--megabytes=16") as page, open(trace, "ab") as output:
        for round_ in range(30):
            numbers = range(round_ * 6000, (round_ + 1) * 6000)
            output.write(b"".join(filed(f"a-rather-long-name-{number}.{'x' * 60}.example", number) for number in numbers))
            output.flush()
            page.wait_for(host_map=(round_ + 1) * 6000)
            page.get("/api/names")
            assert sum(path.stat().st_size for path in folder.glob("memory.db*")) < 16 << 20
        assert page.get("/api/totals", span="day")["outcomes"]["host_map"][-1] > 0
        newest = page.get("/api/queries")["queries"][0]["name"]
        assert newest.startswith("a-rather-long-name-179999.")
