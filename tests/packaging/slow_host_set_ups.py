"""`dns_proxy_ctl on` and `off` beside each program that Debian packages to write the resolver file.

The packages come from build/resolver_packages, where fetch_resolver_packages puts them. A lease is played by
running the client's own script with what a lease would give it; the other programs run as they are.
"""

import pytest

from asking import wait_for_answers
from harness import wait_until
from installed import REPOSITORY
from system_copy import SystemCopy

PACKAGES = REPOSITORY / "build/resolver_packages"
RESOLVER = "/etc/resolv.conf"
SERVER, NEXT_SERVER = "192.0.2.1", "192.0.2.5"
LEASE = "interface=lo reason={} new_ip_address=127.0.0.1 old_ip_address=127.0.0.1 new_domain_name_servers={}"
ASK_FOR_MAPPED_NAME = "import socket; print(socket.getaddrinfo('proxy.example', 0, socket.AF_INET)[0][4][0])"
LEASE_RECORD = "lease {\\n  interface \"lo\";\\n  option domain-name-servers %s;\\n}\\n" % NEXT_SERVER
DHCPCD = "if_up=true if_down=false if_configured=true ifname=lo.dhcp protocol=dhcp /usr/lib/dhcpcd/dhcpcd-run-hooks"

CONNECTION = (
    "nmcli connection add type veth ifname nm0 con-name nm0 veth.peer nm1"
    " ipv4.method manual ipv4.addresses 10.79.0.2/24 ipv4.dns"
)


class SetUp:
    """How the host comes to its first server, and to its next one while it asks the proxy."""

    def __init__(self, package, first, then=None, *, resolver=None, is_told=False):
        self.package, self.first, self.then = package, first, then
        self.resolver = resolver  # what the link leads to
        self.is_told = is_told  # whether the program writes the file again once it is told of `off`


SET_UPS = [
    SetUp(
        "systemd-resolved",
        f"mkdir -p /etc/systemd/resolved.conf.d && printf '[Resolve]\\nDNS={SERVER}\\n' >/etc/systemd/resolved.conf.d/a.conf"
        " && systemctl restart systemd-resolved",
        resolver="../run/systemd/resolve/stub-resolv.conf",
    ),
    SetUp(
        "network-manager",
        f"systemctl start dbus NetworkManager && {CONNECTION} {SERVER} && ip link set nm1 up && nmcli connection up nm0",
        f"nmcli connection modify nm0 ipv4.dns {NEXT_SERVER} && nmcli connection up nm0",
        is_told=True,
    ),
    SetUp(
        "resolvconf",
        f"ln -sf /run/resolvconf/resolv.conf /etc/resolv.conf; resolvconf --enable-updates; resolvconf -u;"
        f" echo nameserver {SERVER} | resolvconf -a eth0.test || true",  # another program's hook may fail
        f"echo nameserver {NEXT_SERVER} | resolvconf -a eth0.test || true",
        resolver="/run/resolvconf/resolv.conf",
    ),
    SetUp(
        "openresolv",
        f"echo nameserver {SERVER} | resolvconf -a eth0.test",
        f"echo nameserver {NEXT_SERVER} | resolvconf -a eth0.test",
        is_told=True,
    ),
    SetUp(
        "isc-dhcp-client",
        f"{LEASE.format('RENEW', SERVER)} /sbin/dhclient-script",
        f"{LEASE.format('RENEW', NEXT_SERVER)} /sbin/dhclient-script && printf '{LEASE_RECORD}' >/var/lib/dhcp/dhclient.lo.leases",
    ),
    SetUp(
        "dhcpcd-base",
        f"{LEASE.format('RENEW', SERVER)} {DHCPCD}",
        f"{LEASE.format('RENEW', NEXT_SERVER)} {DHCPCD}",
    ),
]


@pytest.fixture(params=SET_UPS, ids=lambda set_up: set_up.package)
def host(request, system_copies, package, upstream_package):
    """Booted, with the program as the one that writes the resolver file, the proxy and dns_proxy_upstream."""
    folder = PACKAGES / request.param.package
    if not folder.is_dir():
        pytest.fail("run tests/packaging/fetch_resolver_packages first", pytrace=False)
    with SystemCopy() as system:
        system.put(RESOLVER, "nameserver 192.0.2.9\n")
        for number, file in enumerate([*sorted(folder.glob("*.deb")), package, upstream_package]):
            system.file(f"/debs/{number:03}.deb").parent.mkdir(exist_ok=True)
            system.file(f"/debs/{number:03}.deb").write_bytes(file.read_bytes())
        system.run("sh", "-c", "DEBIAN_FRONTEND=noninteractive dpkg --install /debs/*.deb")
        system.boot()
        wait_for_answers()
        system.run("sh", "-c", request.param.first)
        system.set_up = request.param
        yield system


def look(system):
    """What there is at the resolver file's name, and in it."""
    path = system.file(RESOLVER)
    if path.is_symlink():
        return str(path.readlink())
    status = path.stat()
    return path.read_bytes(), oct(status.st_mode), status.st_uid


def in_front(system, server):
    """Whether dns_proxy_upstream asks it for the network's servers."""
    return server in system.run("sh", "-c", "dns_proxy_ctl upstream; true").split()


def test_host_asks_the_proxy_through_the_network_s_changes_and_is_put_back(host):
    wait_until(lambda: in_front(host, SERVER), "the network's first server")
    before = look(host)
    if host.set_up.resolver:
        assert before == host.set_up.resolver

    host.run("dns_proxy_ctl", "on")
    ours = look(host)
    assert b"nameserver 127.0.0.1\n" in ours[0] and b"edns0" not in ours[0] and b"192.0.2" not in ours[0]
    assert host.run("/usr/bin/python3", "-c", ASK_FOR_MAPPED_NAME) == "10.0.0.1\n"
    wait_until(lambda: in_front(host, SERVER), "the network's server, which the proxy goes on to ask")

    if host.set_up.then:
        host.run("sh", "-c", host.set_up.then)
        wait_until(lambda: in_front(host, NEXT_SERVER), "the network's next server")
        assert look(host) == ours
        if host.set_up.is_told:
            before = (before[0].replace(SERVER.encode(), NEXT_SERVER.encode()), *before[1:])

    host.run("dns_proxy_ctl", "off")
    wait_until(lambda: look(host) == before, "the resolver file as it was")
    assert not host.file("/var/lib/dns_proxy_mac").exists()
    written = host.run("sh", "-c", "grep -rl 'dns_proxy_ctl on' /etc || true")
    assert written == ""
