#include "dns_proxy_mac/engine/engine.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "dns_proxy_mac/engine/dns_message.h"
#include "dns_proxy_mac/engine/socket_address.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

struct ReceivedResponse {
  char bytes[kDatagramCapacity];
  int length = 0;
  SenderAddress sender;
};

// Deliberately unswapped and signed: on a little-endian machine counts of 1 to 127 and 256 are
// answers, 0 and 128 are not. Which responses reach an application depends on it.
bool CarriesAnswers(const ReceivedResponse& response) {
  return static_cast<std::int16_t>(ReadHeader(response.bytes).AnswerCount) > 0;
}

void RelayToApplication(const DnsRequest& request, ReceivedResponse& response, const char* from)
    EXCLUDES(g_DnsRequestTable) {
  std::memcpy(response.bytes, &request.usClientId, sizeof(request.usClientId));
  if (!SendDatagram(g_SockToClientApps, response.bytes, response.length, request.ClientAddr)) {
    trace::Print<trace::kRelayNotSent>(request.usId, static_cast<unsigned>(errno));
  }
  // The address of a plain A answer, and whatever they are of any other; the trace shows them
  // signed.
  signed char last_four[4];
  std::memcpy(last_four, response.bytes + response.length - sizeof(last_four), sizeof(last_four));
  trace::Print<trace::kResponseRelayed>(request.strDomain.c_str(), last_four[0], last_four[1],
                                        last_four[2], last_four[3], from, request.usId);
}

void MatchToRequest(ReceivedResponse& response, const char* from) EXCLUDES(g_DnsRequestTable) {
  const std::uint16_t id = ReadHeader(response.bytes).usId;
  FiledRequest request(g_DnsRequestTable, id);
  if (!request) {
    trace::Print<trace::kResponseWithoutRequest>(from, id);
    return;
  }
  const std::uint8_t index = request->CurrentDNSMethodIndex;
  const bool waits = index < request->vecMethods.size();  // else no source is right
  const AddressText expected =
      waits ? AddressText(request->vecMethods[index].ServerAddr) : AddressText();
  // Only the address counts, not the port.
  if (!waits || std::strcmp(from, expected.c_str()) != 0) {
    trace::Print<trace::kResponseFromWrongSource>(id, index, from, expected.c_str());
    return;
  }
  if (CarriesAnswers(response)) {
    RelayToApplication(*request.TakeOut(), response, from);
    return;
  }
  trace::Print<trace::kResponseWithoutAnswer>(from, id, request->strDomain.c_str());
  ++request->CurrentDNSMethodIndex;  // 8 bits: behind 255 it is 0 again
  request.Release();
  TryNextDNSQueryMethod(id, false);
}

}  // namespace

int RecvAndProcessPacketsFromDNSServer(int sock) {
  ReceivedResponse response;
  if (sock == -1) {
    trace::Print<trace::kResponseSocketUnusable>();
    return 0;
  }
  response.length = ReceiveDatagram(sock, response.bytes, kDatagramCapacity, response.sender);
  if (response.length == -1) {
    trace::Print<trace::kNoResponseReceived>();
    return 0;
  }
  const AddressText from(response.sender);
  trace::Print<trace::kResponseReceived>(response.length, from.c_str());
  if (response.length < kHeaderSize) {
    trace::Print<trace::kResponseTooShort>(response.length, from.c_str());
    return 0;
  }
  MatchToRequest(response, from.c_str());
  return 1;
}
