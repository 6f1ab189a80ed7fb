#pragma once

#include "dns_proxy_mac/state/shared_objects.h"

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
