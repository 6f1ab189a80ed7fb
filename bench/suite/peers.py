"""The well-known forwarders, set up for the same work: no cache, the same host map, the same upstream
server, each without and with one line per query to a file of its own."""

from . import places, programs, scenarios

_LOG = "peer.log"


def _host_names(scenario):
    return [scenarios.host_name(number) for number in range(scenario.host_names)]


def _written(name, text):
    path = places.work_folder() / name
    path.write_text(text)
    # They are started as root and stay root, so that all of them may use port 53 and these files.
    return path


def _log_path():
    path = places.work_folder() / _LOG
    path.unlink(missing_ok=True)
    return path


def dnsmasq(log):
    def command(scenario):
        hosts = "".join(f"{scenarios.HOST_ADDRESS} {name}\n" for name in _host_names(scenario))
        options = ["--log-queries", f"--log-facility={_log_path()}"] if log else []
        return [
            "dnsmasq",
            "--keep-in-foreground",
            "--conf-file=/dev/null",
            "--user=root",
            "--pid-file=",
            "--listen-address=127.0.0.1",
            "--bind-interfaces",
            "--no-resolv",
            "--no-hosts",
            "--cache-size=0",
            f"--addn-hosts={_written('dnsmasq.hosts', hosts)}",
            *[f"--server={server}" for server in scenario.servers()],
            *options,
        ]

    return _peer("dnsmasq", log, command)


_UNBOUND = """server:
  interface: 127.0.0.1
  access-control: 127.0.0.0/8 allow
  do-not-query-localhost: no
  do-daemonize: no
  chroot: ""
  username: ""
  directory: ""
  pidfile: ""
  use-syslog: no
  logfile: "{log_file}"
  log-queries: {log}
  num-threads: 1
  module-config: "iterator"
  do-ip6: no
  do-tcp: no
  minimal-responses: yes
  qname-minimisation: no
{hosts}{forward}remote-control:
  control-enable: no
"""


def unbound(log):
    def command(scenario):
        hosts = "".join(
            f'  local-data: "{name}. 86400 IN A {scenarios.HOST_ADDRESS}"\n' for name in _host_names(scenario)
        )
        servers = "".join(f"  forward-addr: {server}\n" for server in scenario.servers())
        forward = f'forward-zone:\n  name: "."\n  forward-no-cache: yes\n{servers}' if servers else ""
        text = _UNBOUND.format(
            hosts=hosts, forward=forward, log="yes" if log else "no", log_file=_log_path() if log else "/dev/null"
        )
        return ["unbound", "-d", "-c", _written("unbound.conf", text)]

    return _peer("unbound", log, command)


_DNSDIST = """setLocal("127.0.0.1:53")
setACL("127.0.0.0/8")
setSecurityPollSuffix("")
{log}
local hosts = newDNSNameSet()
for n = 0, {last} do hosts:add(newDNSName(string.format("n%07d.bench.lan.", n))) end
addAction(QNameSetRule(hosts), SpoofAction("{address}"))
{servers}
"""


def dnsdist(log):
    def command(scenario):
        log_line = f'addAction(AllRule(), LogAction("{_log_path()}", false))' if log else ""
        servers = "".join(
            f'newServer({{address="{server}:53", healthCheckMode="up"}})\n' for server in scenario.servers()
        )
        text = _DNSDIST.format(
            log=log_line, last=scenario.host_names - 1, address=scenarios.HOST_ADDRESS, servers=servers
        )
        return ["dnsdist", "--supervised", "--disable-syslog", "-C", _written("dnsdist.conf", text)]

    return _peer("dnsdist", log, command)


def _peer(name, log, command):
    suffix = "+log" if log else ""
    return programs.Program(f"{name}{suffix}", f"{name}{', query log to a file' if log else ''}", command)


def every_peer():
    return [make(log) for make in (dnsmasq, unbound, dnsdist) for log in (False, True)]
