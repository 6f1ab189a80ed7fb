#pragma once

#include "dns_proxy_mac/state/shared_objects.h"

/// Takes one datagram of an application off `sock`, files it as a query in flight and starts its
/// resolution. Returns 1 when it was accepted as a query.
///
/// Returns 0, which ends the query thread, when the socket is -1, the receive call fails, or the
/// datagram is refused: shorter than a header, not exactly one question, or a name that decodes to
/// nothing. Whoever sent a refused datagram gets no reply.
///
/// Query thread only. Takes the request table's lock once a query is accepted. An allocation that
/// fails throws through.
int RecvAndProcessPacketsFromLocalApps(int sock) EXCLUDES(g_DnsRequestTable);
