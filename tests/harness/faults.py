"""Ways to make the system fail under the real program, from outside of it."""

import ctypes
import os
import pathlib
import platform
import secrets
import socket
import struct

PR_SET_SECCOMP = 22
PR_SET_NO_NEW_PRIVS = 38
SECCOMP_MODE_FILTER = 2
SECCOMP_RET_ALLOW = 0x7FFF0000
SECCOMP_RET_ERRNO = 0x00050000
LOAD_WORD = 0x20
JUMP_IF_EQUAL = 0x15
RETURN = 0x06
OFFSET_OF_NUMBER = 0
OFFSET_OF_FIRST_ARGUMENT = 16

SYSTEM_CALLS = {
    "x86_64": {"recvfrom": [45], "select": [23, 270], "socket": [41]},
    "aarch64": {"recvfrom": [207], "select": [72], "socket": [198]},
}

APPLICATION_SOCKET = 3  # the descriptors that the program gets for its two sockets,
UPSTREAM_SOCKET = 4  # being the first that it keeps open
ORDINARY_USER = 100_000 + secrets.randbelow(1 << 30)  # nobody else's: threads are counted for each user
UDP_PROTOCOL = 17


def _filter(numbers, first_argument, error):
    steps = [(LOAD_WORD, 0, 0, OFFSET_OF_NUMBER)]
    steps += [(JUMP_IF_EQUAL, len(numbers) - at, 0, number) for at, number in enumerate(numbers)]
    steps += [(RETURN, 0, 0, SECCOMP_RET_ALLOW)]
    steps += [(LOAD_WORD, 0, 0, OFFSET_OF_FIRST_ARGUMENT), (JUMP_IF_EQUAL, 0, 1, first_argument)]
    steps += [(RETURN, 0, 0, SECCOMP_RET_ERRNO | error), (RETURN, 0, 0, SECCOMP_RET_ALLOW)]
    return b"".join(struct.pack("=HBBI", *step) for step in steps), len(steps)


def failing_call(name, first_argument, error):
    """A `before_exec` under which each call of this name with this first argument fails with `error`."""
    code, steps = _filter(SYSTEM_CALLS[platform.machine()][name], first_argument, error)
    text = ctypes.create_string_buffer(code)
    program = struct.pack("@HP", steps, ctypes.addressof(text))
    libc = ctypes.CDLL(None)

    def install():
        kept = text  # the filter's storage must live until the call below
        libc.prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)
        if libc.prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, program, 0, 0) != 0 or kept is None:
            raise OSError("the system takes no filter for its calls")

    return install


def failing_receive(descriptor, error):
    return failing_call("recvfrom", descriptor, error)


def failing_select(descriptor, error):
    return failing_call("select", descriptor + 1, error)


def failing_sockets(error):
    """No IPv4 socket can be created."""
    return failing_call("socket", socket.AF_INET, error)


def thread_limit(count, binary):
    """A `wrapper` under which the program can have `count` threads, the first one included.

    It runs as a user of its own, who may bind port 53 and owns nothing else. The thread sanitizer's
    runtime has a thread of its own, which comes on top; the leak sanitizer's would be one too many.
    """
    if b"__tsan_init" in pathlib.Path(binary).read_bytes():
        count += 1
    no_leak_check = f"ASAN_OPTIONS={os.environ.get('ASAN_OPTIONS', '')}:detect_leaks=0"
    limit = ["prlimit", f"--nproc={count}:{count}", "--"]
    return ["env", no_leak_check, *limit, *as_user(["+net_bind_service"])]


def as_user(capabilities=()):
    """A `wrapper` under which the program is an ordinary user's, with these capabilities only."""
    kept = ",".join(["-all", *capabilities])
    user = f"{ORDINARY_USER}"
    return ["setpriv", "--reuid", user, "--regid", user, "--clear-groups", "--inh-caps", kept, "--ambient-caps", kept]


def send_from_port_zero(datagram, address="127.0.0.1"):
    """A datagram to the proxy whose sender cannot be answered: nothing can be sent to port 0."""
    header = struct.pack("!HHHH", 0, 53, 8 + len(datagram), 0)
    with socket.socket(socket.AF_INET, socket.SOCK_RAW, UDP_PROTOCOL) as raw:
        raw.bind((address, 0))
        raw.sendto(header + datagram, ("127.0.0.1", 0))
