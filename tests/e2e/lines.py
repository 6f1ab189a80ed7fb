"""Trace lines of the steps that most conversations share. A test writes out what it is about itself."""


def intake(length, name, number, sender="127.0.0.1"):
    """A datagram of an application is accepted as query `number`."""
    return [
        "func: thread_query(line:282) ****QureyThread***: received dns request",
        f"func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received {length} data from {sender}",
        "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1",
        f"func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............{name}",
        f"func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is {name}, id:{number}",
    ]


def looked_at(number, index, methods):
    """The fallback looks at query `number`."""
    return [
        f"func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: {number}, bReasonIsTimeout:0",
        f"func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: {index}, DnsListSize:{methods}",
    ]


def host_map_tried(number, methods):
    return looked_at(number, 0, methods) + [
        "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)"
    ]


def host_map_hit(number, methods, name, address):
    return host_map_tried(number, methods) + [
        f"func: TryNextDNSQueryMethod(line:669) find {name} from hostmap, ip:{address}, req id:{number}"
    ]


def forwarded(number, index, methods):
    """Query `number` goes to the server at `index`."""
    return looked_at(number, index, methods) + [
        "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)"
    ]


def exhausted(number, index, methods):
    """No method is left for query `number`."""
    return looked_at(number, index, methods) + [
        "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response"
    ]


def response(length, server):
    """A datagram has come from above."""
    return [
        "func: thread_answer(line:239) AnswerThread: received dns response.",
        f"func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv {length} data from {server}",
    ]


def relayed(length, server, number, name, last_bytes):
    return response(length, server) + [
        f"func: RecvAndProcessPacketsFromDNSServer(line:367) domain {name} received answer {last_bytes} "
        f"from {server}, we have to delete id:{number}"
    ]


def without_answer(length, server, number, name):
    return response(length, server) + [
        f"func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: {server}, id: {number}, "
        f"for : {name}, no such name"
    ]


def not_found(length, server, number):
    return response(length, server) + [
        f"func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: {server}, id: {number}, request not found"
    ]
