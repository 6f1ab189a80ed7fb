#pragma once

#include <cstdint>

#include "dns_proxy_mac/state/shared_objects.h"

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
