#pragma once

#include "dns_proxy_mac/state/dns_request.h"
#include "dns_proxy_mac/state/host_table.h"

// The two messages that the proxy answers with itself, both made of the stored query. The record is
// the caller's alone: taken out of the request table before.

/// What the host map's answer takes behind the stored query: a record and a zero byte.
inline constexpr std::size_t kHostMapAnswerRoom = kAnswerRecordSize + 1;

/// Whether the stored query leaves that room: queries of up to 8175 bytes do.
bool HostMapAnswerFits(const DnsRequest& request);

/// Turns the stored query into the host map's answer, in place: the record behind its last byte,
/// the application's id, QR set, RCODE 0, one answer. For an AAAA question two answers are
/// announced and the one A record is sent. Every other flag and count stays as asked. The message
/// is then the first `iQueryPacketLen` bytes of `QueryPacket`, 16 more than before; it must fit,
/// see above.
void BuildHostMapAnswer(DnsRequest& request, const HostRespData& record);

/// Fills `response` with the "no such name" answer to the stored query: the application's id, flags
/// 80 03 (RD is not echoed), one question, no records counted, and the query's bytes behind the
/// header. Its length is the query's, `iQueryPacketLen`; `response` is zero behind it. The stored
/// query is not changed.
void BuildNoSuchNameResponse(const DnsRequest& request, char (&response)[kDatagramCapacity]);
