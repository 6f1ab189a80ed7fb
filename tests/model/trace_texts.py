"""The texts that the proxy prints as long as the system's calls do what they are asked, to the last blank and
misspelling. Calls that fail are the end-to-end tests' matter; a port that is taken and a send are here too."""


def printed(text):
    """A text argument as the trace shows it: up to its first NUL."""
    return text.split(b"\0", 1)[0]


class Trace:
    """What was printed since the last `take`, as bytes."""

    def __init__(self):
        self._printed = bytearray()

    def say(self, text, *values):
        self._printed += text % tuple(printed(v) if isinstance(v, bytes) else v for v in values)

    def take(self):
        taken = bytes(self._printed)
        self._printed.clear()
        return taken


def _from(function):
    """Texts of one function: a fixed number, and the message with the blank that it begins with or lacks."""
    return lambda number, message: b"func: %s(line:%d)%s\n" % (function, number, message)


_main = _from(b"main")
READ_DNS = b"read dns: %s\n"
READ_HOSTMAP = b"read hostmap: %s\n"
SIZES = b"dnsproxy: dns_size:%d, hostmap_size:%d\n"
NOTHING_CONFIGURED = _main(79, b" StartDnsSrv failed")
SERVICE_FAILED = _main(86, b" StartDnsSrv failed")
SERVICE_ENDED = _main(90, b" StartDnsSrv success")

_start = _from(b"StartDnsSrv")
BIND_FAILED = _start(115, b" bind %s:%d failed")
BIND_SUCCESS = _start(118, b" bind %s:%d success")
ADD_HOST_MAP = _start(124, b" Add host map: %s -> %s")
ADD_SERVER = _start(136, b" Add KQ DNS to list: %s")
ANSWER_THREAD_STARTED = _start(154, b" pthread_create g_thread_answer success")
QUERY_THREAD_STARTED = _start(161, b" pthread_create thread_query success")

_thread_answer = _from(b"thread_answer")
ANSWER_READABLE = _thread_answer(239, b" AnswerThread: received dns response.")
ANSWER_THREAD_ENDS = _thread_answer(245, b" RecvAndProcessPacketsFromDNSServer failed, exit.")

_thread_query = _from(b"thread_query")
QUERY_READABLE = _thread_query(282, b" ****QureyThread***: received dns request")

_decoder = _from(b"ExtractDomain")
INVALID_LENGTH = _decoder(482, b"ExtractDomain invalid value:%d")
NAME_OVERFLOW = _decoder(488, b"ExtractDomain: buffer overflow when parsing qname, chunk_len: %d")
DOT_OVERFLOW = _decoder(504, b"ExtractDomain: buffer overflow when add suffix dot, chunk_len: %d")

_intake = _from(b"RecvAndProcessPacketsFromLocalApps")
QUERY_RECEIVED = _intake(412, b"FromAPP: received %d data from %s")
QUERY_TOO_SHORT = _intake(415, b"FromAPP: query too short from %s")
QUESTION_COUNT = _intake(420, b" pDNSHeader QuestionCount :%d")
QUESTION_COUNT_INVALID = _intake(423, b"FromAPP: QuestionCount invalid: %d, from: %s")
NAME_EMPTY = _intake(429, b"FromAPP: domain is empty, from: %s")
NAME_RECEIVED = _intake(432, b" received dns request............%s")
QUERY_ACCEPTED = _intake(464, b"FromAPP: the request domain is %s, id:%d")

_fallback = _from(b"TryNextDNSQueryMethod")
FALLBACK_CALLED = _fallback(614, b"TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:%d")
FALLBACK_NOT_FOUND = _fallback(618, b"TryNextDNSQueryMethod: %s: id: %u, request not found")
FALLBACK_POSITION = _fallback(624, b" CurrentDNSMethodIndex: %d, DnsListSize:%d")
FALLBACK_METHOD = b"**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)\n"
FORWARD_FAILED = b"TryNextDNSQueryMethod: id: %u,sendto failed: %u\n"
HOST_MAP_HIT = _fallback(669, b" find %s from hostmap, ip:%d.%d.%d.%d, req id:%d")
HOST_MAP_SEND_FAILED = _fallback(673, b"DNS service: sendto for host map failed")
NO_MORE_METHODS = _fallback(685, b" no more DNS methods, send no such name response")
NO_SUCH_NAME_SEND_FAILED = _fallback(703, b"TryNextDNSQueryMethod: id: %u, sendto failed")

_relay = _from(b"RecvAndProcessPacketsFromDNSServer")
RESPONSE_RECEIVED = _relay(325, b" FromDNSServer: recv %d data from %s")
RESPONSE_TOO_SHORT = _relay(327, b" FromDNSServer: do_answer: answer too short: %d, from: %s")
RESPONSE_UNKNOWN = _relay(338, b" rsp from: %s, id: %u, request not found")
RESPONSE_WRONG_SOURCE = _relay(
    352, b" id: %u, dns_index:%d current dns rsp from: %s, should from: %s, it seems error"
)
RELAY_SEND_FAILED = _relay(364, b" id: %u: sendto failed: %u")
RELAYED = _relay(367, b" domain %s received answer %d.%d.%d.%d from %s, we have to delete id:%d")
RESPONSE_WITHOUT_ANSWER = _relay(372, b" rsp from: %s, id: %u, for : %s, no such name")
