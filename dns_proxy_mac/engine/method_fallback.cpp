#include "dns_proxy_mac/engine/method_fallback.h"

#include <cerrno>
#include <string>

#include "dns_proxy_mac/engine/socket_address.h"
#include "dns_proxy_mac/engine/synthesized_responses.h"
#include "dns_proxy_mac/trace/events.h"

namespace {

void ForwardToServer(const DnsRequest& request, const DNSMethodInfo& method)
    REQUIRES(g_DnsRequestTable) {
  const std::uint16_t id = request.usId;
  if (!SendDatagram(g_SockToDNSServers, request.QueryPacket, request.iQueryPacketLen,
                    method.ServerAddr)) {
    trace::ForwardFailed(id, static_cast<unsigned>(errno));
    g_DnsRequestTable.Delete(id);
  }
}

bool SendToApplication(const DnsRequest& request, const char* response) {
  return SendDatagram(g_SockToClientApps, response, request.iQueryPacketLen, request.ClientAddr);
}

void AnswerFromHostMap(DnsRequest& request, const HostRespData& record)
    REQUIRES(g_DnsRequestTable) {
  const std::uint16_t id = request.usId;
  BuildHostMapAnswer(request, record);
  trace::FoundInHostMap(request.strDomain.c_str(), record.Address(), id);
  if (!SendToApplication(request, request.QueryPacket)) trace::HostMapAnswerNotSent();
  g_DnsRequestTable.Delete(id);
}

void AskHostMap(DnsRequest& request) REQUIRES(g_DnsRequestTable) {
  HostRespData* record = nullptr;
  const char* name = request.strDomain.c_str();  // what is looked up ends at the first NUL
  // A query that leaves no room for the record is passed on to the servers like a miss.
  if (g_Hostmaps.Find(name, record) && HostMapAnswerFits(request)) {
    AnswerFromHostMap(request, *record);
    return;
  }
  ++request.CurrentDNSMethodIndex;
  TryNextDNSQueryMethod(request.usId, false);
}

void AnswerNoSuchName(const DnsRequest& request) REQUIRES(g_DnsRequestTable) {
  const std::uint16_t id = request.usId;
  trace::MethodsExhausted();
  char response[kDatagramCapacity];
  BuildNoSuchNameResponse(request, response);
  if (!SendToApplication(request, response)) trace::NoSuchNameNotSent(id);
  g_DnsRequestTable.Delete(id);
}

}  // namespace

void TryNextDNSQueryMethod(std::uint16_t id, bool bReasonIsTimeout) {
  trace::NextMethodTried(id, bReasonIsTimeout);
  RequestTable::Iterator found;
  if (!g_DnsRequestTable.Find(id, found)) {
    trace::RequestToAdvanceNotFound(id);
    return;
  }
  DnsRequest& request = *found->second;
  const auto list_size = static_cast<std::uint16_t>(request.vecMethods.size());
  trace::MethodPosition(request.CurrentDNSMethodIndex, list_size);
  if (request.CurrentDNSMethodIndex >= list_size) {
    AnswerNoSuchName(request);
    return;
  }
  const DNSMethodInfo& method = request.vecMethods[request.CurrentDNSMethodIndex];
  trace::MethodType(method.iDNSMethodType);
  if (method.iDNSMethodType == kMethodDnsServer) {
    ForwardToServer(request, method);
  } else if (method.iDNSMethodType == kMethodHostMap) {
    AskHostMap(request);
  }
}
