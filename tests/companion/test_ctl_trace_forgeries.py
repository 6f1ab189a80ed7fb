"""Names that hold lines of the trace: none of them makes the reader see what the proxy has not printed."""

import subprocess

import pytest
from trace_lines import START, accepted, forwarded, hit, relayed, report, without_answer

import ctl

INTAKE = "func: RecvAndProcessPacketsFromLocalApps"
FORGED_LINES = {
    "the end of the intake": f"{INTAKE}(line:415)FromAPP: query too short from 1.2.3.4",
    "the end of the intake by an empty name": f"{INTAKE}(line:429)FromAPP: domain is empty, from: 1.2.3.4",
    "the end of the proxy": "func: main(line:90) StartDnsSrv success",
    "a start that failed": "func: main(line:86) StartDnsSrv failed",
    "a server": "func: StartDnsSrv(line:136) Add KQ DNS to list: 6.6.6.6",
    "a host map entry": "func: StartDnsSrv(line:124) Add host map: x -> 6.6.6.6",
    "a run": "read dns: 6.6.6.6\ndnsproxy: dns_size:1, hostmap_size:0",
    "a run of nothing": "dnsproxy: dns_size:0, hostmap_size:0\nfunc: main(line:79) StartDnsSrv failed",
    "a query": f"{INTAKE}(line:464)FromAPP: the request domain is x, id:2",
    "an answer from the host map": "func: TryNextDNSQueryMethod(line:669) find x from hostmap, ip:1.2.3.4, req id:0",
    "an answer": "func: RecvAndProcessPacketsFromDNSServer(line:367) domain b.lan received answer 1.2.3.4 "
    "from 6.6.6.6, we have to delete id:0",
    "no answer": "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 6.6.6.6, id: 0, for : b.lan, "
    "no such name",
    "a dropped response": "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 6.6.6.6, id: 9, "
    "request not found",
    "a query not sent": "TryNextDNSQueryMethod: id: 0,sendto failed: 101",
    "a foreign line": "nothing of the proxy's",
}


@pytest.mark.parametrize("ending", ["", "\n", "\nx"], ids=["at the end", "with its line end", "in the middle"])
@pytest.mark.parametrize("forged", FORGED_LINES.values(), ids=FORGED_LINES)
def test_a_line_in_a_name_is_a_part_of_the_name(forged, ending):
    name = f"x, id:5\n{forged}{ending}"
    trace = (
        START
        + accepted("b.lan", 0)
        + forwarded(0, 1)
        + accepted(name, 1)
        + forwarded(1, 1)
        + without_answer(name, 1)
        + forwarded(1, 2)
        + relayed(name, 1, "10.0.0.9")
    )
    result = report(trace)
    assert result["not_understood"] == 0
    assert result["lines"] == trace.count("\n")
    assert (result["starts"], result["state"], result["intake"]) == (1, "serving", {"ended": False})
    assert result["queries"] == {
        "accepted": 2,
        "accepted_before": 0,
        "from_host_map": 0,
        "answered": 1,
        "no_such_name": 0,
        "waiting": 1,
        "names_cut_short": 0,
    }
    assert [server["address"] for server in result["servers"]] == ["10.0.0.8", "10.0.0.9"]
    assert [server["asked"] for server in result["servers"]] == [2, 1]
    assert set(result["dropped"].values()) == {0}
    assert result["waiting"] == [{"name": "b.lan", "server": "10.0.0.8"}]


def test_a_name_that_holds_the_place_where_a_shorter_one_would_end():
    inner = accepted("x", 1).split("............", 1)[1]
    name = inner + forwarded(1, 1) + "x"
    result = report(START + accepted("b.lan", 0) + forwarded(0, 1) + accepted(name, 1) + hit(name, 1))
    assert result["queries"]["accepted"] == 2
    assert result["queries"]["from_host_map"] == 1
    assert result["not_understood"] == 0


def test_a_name_that_goes_on_like_the_answer_to_another_one():
    name = relayed("b.lan", 0).split("domain ", 1)[1] + "x"
    trace = START + accepted("b.lan", 0) + forwarded(0, 1) + accepted(name, 1) + forwarded(1, 1) + relayed(name, 1)
    result = report(trace)
    assert result["queries"]["answered"] == 1
    assert result["waiting"] == [{"name": "b.lan", "server": "10.0.0.8"}]


def peak_memory_kb(trace):
    """Of the reader alone: measured from a process that has no other child."""
    output = subprocess.run(
        ["/usr/bin/python3", "-c", MEASURE, ctl.ctl_path()], input=trace, stdout=subprocess.PIPE, check=True
    ).stdout
    return int(output)


MEASURE = """
import resource, subprocess, sys
subprocess.run([sys.argv[1], "trace"], stdin=sys.stdin, stdout=subprocess.DEVNULL, check=True)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)
"""


def addresses(count):
    return [f"10.{at >> 16 & 255}.{at >> 8 & 255}.{at & 255}" for at in range(count)]


def test_servers_without_end_take_no_memory():
    servers = addresses(500_000)
    trace = "".join(f"read dns: {server}\n" for server in servers)
    trace += f"dnsproxy: dns_size:{len(servers)}, hostmap_size:0\n"
    trace += "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
    trace += "".join(f"func: StartDnsSrv(line:136) Add KQ DNS to list: {server}\n" for server in servers)
    assert peak_memory_kb(trace.encode()) < 20_000


def test_long_names_take_bounded_memory():
    names = (f"{at % 10}" * 1000 + str(at) for at in range(60_000))
    queries = "".join(accepted(name, at) + hit(name, at) for at, name in enumerate(names))
    assert peak_memory_kb((START + queries).encode()) < 60_000
