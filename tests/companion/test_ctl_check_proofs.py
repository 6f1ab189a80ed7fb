"""The proxy does, file by file, what the verdicts on the fixtures say that it will do."""

import pytest
from harness import Application, query

import ctl
import proofs_names
import proofs_servers
from test_ctl_check_fixtures import FIXTURES, NAMES


@pytest.mark.parametrize(("folder", "name"), list(zip(FIXTURES, NAMES)), ids=NAMES)
def test_proxy_does_what_the_verdict_says(folder, name):
    assert name in proofs_names.QUESTIONS or name in proofs_servers.PROOFS, "nobody has proved this verdict"
    if name in proofs_names.QUESTIONS:
        proofs_names.prove(name, folder)
    if name in proofs_servers.PROOFS:
        proofs_servers.PROOFS[name]((folder / "dns").read_bytes(), (folder / "hostmap").read_bytes())


@pytest.mark.parametrize(
    ("servers", "words"),
    [
        (65536, "every query takes the list to hold 0 methods"),
        (65537, "every query takes the list to hold 1 method"),
    ],
)
def test_a_list_of_65536_methods_is_an_empty_one(tmp_path, servers, words):
    (tmp_path / "dns").write_bytes(b"127.0.0.2\n" * servers)
    result = ctl.run("check", "--dns", "dns", "--hostmap", "/dev/null", cwd=tmp_path)
    errors = [line for line in result.stdout.splitlines() if ": error: " in line]
    length = f"{servers:,} resolution methods"
    assert errors == [f"dns:65536: error: {length} -> the length is kept in 16 bits: {words}"]
    assert result.returncode == 2


def test_a_proxy_with_65536_servers_asks_none():
    with ctl.serving(dns=b"127.0.0.2\n" * 65536), Application() as application:
        application.send(query(1, "some.lan"))
        assert ctl.is_no_such_name(application.receive())
