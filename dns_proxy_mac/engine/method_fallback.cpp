#include "dns_proxy_mac/engine/engine.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "dns_proxy_mac/engine/socket_address.h"
#include "dns_proxy_mac/engine/synthesized_responses.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

// A query on its way to a server: a copy, because the record stays filed and belongs to whoever
// holds the lock.
struct Forward {
  Forward(const DnsRequest& request, const DNSMethodInfo& method)
      : length(request.iQueryPacketLen), server(method.ServerAddr) {
    std::memcpy(packet, request.QueryPacket, static_cast<std::size_t>(length));
  }

  char packet[kDatagramCapacity];
  std::int32_t length;
  sockaddr server;
};

void SendToServer(std::uint16_t id, const Forward& forward) EXCLUDES(g_DnsRequestTable) {
  if (SendDatagram(g_SockToDNSServers, forward.packet, forward.length, forward.server)) return;
  trace::Print<trace::kForwardFailed>(id, static_cast<unsigned>(errno));
  const Guard guard(g_DnsRequestTable);
  g_DnsRequestTable.Delete(id);
}

bool SendToApplication(const DnsRequest& request, const char* response) {
  return SendDatagram(g_SockToClientApps, response, request.iQueryPacketLen, request.ClientAddr);
}

void AnswerFromHostMap(DnsRequest& request, const HostRespData& record)
    EXCLUDES(g_DnsRequestTable) {
  BuildHostMapAnswer(request, record);
  const unsigned char* address = record.Address();
  trace::Print<trace::kFoundInHostMap>(request.strDomain.c_str(), address[0], address[1],
                                       address[2], address[3], request.usId);
  if (!SendToApplication(request, request.QueryPacket))
    trace::Print<trace::kHostMapAnswerNotSent>();
}

void AnswerNoSuchName(const DnsRequest& request) EXCLUDES(g_DnsRequestTable) {
  trace::Print<trace::kMethodsExhausted>();
  char response[kDatagramCapacity];
  BuildNoSuchNameResponse(request, response);
  if (!SendToApplication(request, response)) trace::Print<trace::kNoSuchNameNotSent>(request.usId);
}

// The host map's record for the request's name; null on a miss. A query that leaves no room for the
// record is passed on to the servers like a miss.
const HostRespData* FindInHostMap(const DnsRequest& request) {
  HostRespData* record = nullptr;
  const char* name = request.strDomain.c_str();  // what is looked up ends at the first NUL
  return g_Hostmaps.Find(name, record) && HostMapAnswerFits(request) ? record : nullptr;
}

}  // namespace

void TryNextDNSQueryMethod(std::uint16_t id, bool bReasonIsTimeout) {
  trace::Print<trace::kNextMethodTried>(id, bReasonIsTimeout);
  FiledRequest request(g_DnsRequestTable, id);
  if (!request) {
    trace::Print<trace::kRequestToAdvanceNotFound>(id);
    return;
  }
  const auto list_size = static_cast<std::uint16_t>(request->vecMethods.size());
  trace::Print<trace::kMethodPosition>(request->CurrentDNSMethodIndex, list_size);
  if (request->CurrentDNSMethodIndex >= list_size) {
    AnswerNoSuchName(*request.TakeOut());
    return;
  }
  const DNSMethodInfo method = request->vecMethods[request->CurrentDNSMethodIndex];
  trace::Print<trace::kMethodType>(method.iDNSMethodType);
  if (method.iDNSMethodType == kMethodDnsServer) {
    const Forward forward(*request, method);
    request.Release();
    SendToServer(id, forward);
    return;
  }
  if (method.iDNSMethodType != kMethodHostMap) return;
  if (const HostRespData* record = FindInHostMap(*request)) {
    AnswerFromHostMap(*request.TakeOut(), *record);
    return;
  }
  ++request->CurrentDNSMethodIndex;  // 8 bits: behind 255 it is 0 again
  request.Release();
  TryNextDNSQueryMethod(id, false);
}
