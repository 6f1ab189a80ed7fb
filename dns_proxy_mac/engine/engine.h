#pragma once

#include <cstdint>

#include "dns_proxy_mac/state/shared_objects.h"

// What happens to a datagram: the two handlers that the workers call, and the fallback that both
// hand a query to. An allocation that fails throws through.

/// Takes one datagram of an application off `sock`, files it as a query in flight and starts its
/// resolution. Returns 1 when it was accepted as a query.
///
/// Returns 0, which ends the query thread, when the socket is -1, the receive call fails, or the
/// datagram is refused: shorter than a header, not exactly one question, or a name that decodes to
/// nothing. Whoever sent a refused datagram gets no reply.
///
/// Query thread only. Takes the request table's lock once a query is accepted.
int RecvAndProcessPacketsFromLocalApps(int sock) EXCLUDES(g_DnsRequestTable);

/// Does what comes next for the query in flight under `id`: asks the upstream server that the
/// request's method index points at, answers from the host map (a miss goes on to the next method),
/// or answers "no such name" when the list is exhausted. An answered request is deleted; so is one
/// that could not be sent upstream, without an answer and without a try of the next server. A
/// forwarded request stays filed until its server answers, for ever if need be.
///
/// Either worker, without the request table's lock: it is held while the record is looked at and
/// given back for every send, so that neither worker waits for the other's system calls.
/// `bReasonIsTimeout` is traced and has no other effect.
void TryNextDNSQueryMethod(std::uint16_t id, bool bReasonIsTimeout) EXCLUDES(g_DnsRequestTable);

/// Takes one datagram of an upstream server off `sock` and settles it: a response with answers goes
/// to the application that asked, with its own id, and ends the request; one without moves the
/// request to its next method; one that no request waits for, or that comes from another address
/// than the server asked last, is dropped. The sender's port and the RCODE are not looked at.
/// Returns 1 in all these cases.
///
/// Returns 0, which ends the answer thread and with it the service, when the socket is -1, the
/// receive call fails, or the datagram is shorter than a header.
///
/// Answer thread only. Takes the request table's lock to match the response to its request.
int RecvAndProcessPacketsFromDNSServer(int sock) EXCLUDES(g_DnsRequestTable);
