"""`trace` on files of all kinds and sizes."""

import bz2
import gzip
import lzma
import subprocess

import pytest
from harness.faults import as_user
from trace_lines import START

import ctl



@pytest.mark.parametrize(
    ("content", "lines"),
    [(b"no trace\nat all\n", "2 lines"), (open(ctl.ctl_path(), "rb").read(1000).replace(b"\n", b""), "0 lines")],
    ids=["text", "binary"],
)
def test_file_that_holds_no_trace(tmp_path, content, lines):
    path = tmp_path / "file"
    path.write_bytes(content)
    result = ctl.run("trace", path)
    assert result.stdout == ""
    assert result.stderr == f"dns_proxy_ctl: {path} holds no trace of the proxy: {lines}, none understood.\n"
    assert result.returncode == 1


@pytest.mark.parametrize(
    ("compress", "hint"),
    [
        (gzip.compress, "It is compressed with gzip: zcat {} | dns_proxy_ctl trace"),
        (lzma.compress, "It is compressed with xz: xzcat {} | dns_proxy_ctl trace"),
        (bz2.compress, "It is compressed with bzip2: bzcat {} | dns_proxy_ctl trace"),
    ],
    ids=["gzip", "xz", "bzip2"],
)
def test_compressed_trace_gets_a_hint(tmp_path, compress, hint):
    path = tmp_path / "trace"
    path.write_bytes(compress(START.encode()))
    result = ctl.run("trace", path)
    assert result.stderr.endswith(f", none understood. {hint.format(path)}\n")
    assert result.returncode == 1


@pytest.mark.parametrize("prefix", ["Nov 21 09:00:00 host dns_proxy_mac[123]: ", "2026-11-21T09:00:00+0000 host x: "])
def test_trace_with_something_in_front_of_its_lines_gets_a_hint(tmp_path, prefix):
    path = tmp_path / "trace"
    path.write_text("".join(prefix + line + "\n" for line in START.splitlines()))
    result = ctl.run("trace", path)
    assert "none understood. Its lines are the proxy's, with something in front of each" in result.stderr
    assert "journalctl -o cat" in result.stderr
    assert result.returncode == 1


def test_empty_trace_is_a_trace(tmp_path):
    result = ctl.run("trace", "/dev/null")
    assert result.stdout.startswith("0 lines, 0 starts; the proxy was started before the first line\n")
    assert result.returncode == 0


@pytest.mark.parametrize(
    ("make", "reason"),
    [(lambda path: None, "No such file or directory"), (lambda path: path.mkdir(), "Is a directory")],
    ids=["missing", "directory"],
)
def test_file_that_can_not_be_read(tmp_path, make, reason):
    path = tmp_path / "trace"
    make(path)
    result = ctl.run("trace", path)
    assert result.stderr == f"dns_proxy_ctl: {path} can't be read: {reason}.\n"
    assert result.stdout == ""
    assert result.returncode == 2


def test_file_that_may_not_be_read(open_folder):
    path = open_folder / "trace"
    path.write_text(START)
    path.chmod(0)
    result = ctl.run("trace", path, wrapper=as_user())
    assert result.stderr == f"dns_proxy_ctl: {path} can't be read: Permission denied.\n"
    assert result.returncode == 2


def test_results_that_can_not_be_written():
    with open("/dev/full", "wb") as full:
        result = subprocess.run(
            [ctl.ctl_path(), "trace"], input=START.encode(), stdout=full, stderr=subprocess.PIPE, check=False
        )
    assert result.stderr == b"dns_proxy_ctl: The results could not be written: No space left on device.\n"
    assert result.returncode == 74
