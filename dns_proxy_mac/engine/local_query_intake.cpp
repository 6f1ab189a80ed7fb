#include "dns_proxy_mac/engine/engine.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "dns_proxy_mac/engine/dns_message.h"
#include "dns_proxy_mac/engine/socket_address.h"
#include "dns_proxy_mac/engine/synthesized_responses.h"
#include "dns_proxy_mac/platform.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

constexpr char kReverseLookupMark[] = ".in-addr.arpa";

// One datagram and, behind it, the zero bytes that a label running past it is completed from. Only
// those are zeroed that the decoder can reach.
struct ReceivedQuery {
  char bytes[kDatagramCapacity + kLabelOverrun];
  int length = 0;
  SenderAddress sender;
};

struct Question {
  // The byte behind a name that fills its whole buffer ends it.
  char name[kNameCapacity + 1] = {};
  std::uint16_t qtype = 0;
  std::uint16_t qclass = 0;
};

bool HeaderIsAccepted(const ReceivedQuery& query, const char* from) {
  if (query.length < kHeaderSize) {
    trace::Print<trace::kQueryTooShort>(from);
    return false;
  }
  const int count = _OSSwapInt16(ReadHeader(query.bytes).QuestionCount);
  trace::Print<trace::kQuestionCountRead>(count);
  if (count != 1) {
    trace::Print<trace::kQuestionCountRefused>(count, from);
    return false;
  }
  return true;
}

bool QuestionIsAccepted(const ReceivedQuery& query, const char* from, Question& question) {
  ExtractDomain(query.bytes + kHeaderSize, query.length - kHeaderSize, question.name, kNameCapacity,
                question.qtype, question.qclass);
  if (question.name[0] == 0) {
    trace::Print<trace::kDomainEmpty>(from);
    return false;
  }
  trace::Print<trace::kDomainDecoded>(question.name);
  return true;
}

// Stores the datagram with the proxy's id in place of the application's. Both ids are two raw bytes
// in the machine's own order; the relay reads the proxy's back the same way. Of the rest of the
// packet only the bytes that can be used are zeroed: zeroing all of it would make it take memory.
void StorePacket(ReceivedQuery& query, DnsRequest& request) {
  const auto length = static_cast<std::size_t>(query.length);
  std::memcpy(&request.usClientId, query.bytes, sizeof(request.usClientId));
  std::memcpy(query.bytes, &request.usId, sizeof(request.usId));
  std::memcpy(request.QueryPacket, query.bytes, length);
  std::memset(request.QueryPacket + length, 0,
              std::min(kHostMapAnswerRoom, kDatagramCapacity - length));
  request.iQueryPacketLen = query.length;
}

// Everything but what `FileAndStart` fills in.
std::unique_ptr<DnsRequest> MakeRequest(const ReceivedQuery& query, const Question& question) {
  std::unique_ptr<DnsRequest> request(new DnsRequest);
  const bool reverse_lookup = std::strstr(question.name, kReverseLookupMark) != nullptr;
  request->CurrentDNSMethodIndex = reverse_lookup ? kReverseLookupMethodIndex : std::uint8_t{0};
  request->ClientAddr = KeptAddress(query.sender);
  request->iRecvLen = query.length;
  request->strDomain = question.name;
  request->usQType = question.qtype;
  request->usQClass = question.qclass;
  request->bSpare = false;
  return request;
}

// When the id has come round to a request that is still in flight, that one stays filed and is
// advanced, and the new query is lost with its record: ids are not looked up before they are used.
void FileAndStart(ReceivedQuery& query, const Question& question) {
  std::unique_ptr<DnsRequest> request = MakeRequest(query, question);
  std::uint16_t id = 0;
  {
    const Guard guard(g_DnsRequestTable);
    request->vecMethods = g_DnsMethodList;
    id = request->usId = g_QueryID++;
    StorePacket(query, *request);
    g_DnsRequestTable.Add(request.release());
  }
  trace::Print<trace::kRequestFiled>(question.name, id);
  TryNextDNSQueryMethod(id, false);
}

}  // namespace

int RecvAndProcessPacketsFromLocalApps(int sock) {
  ReceivedQuery query;
  Question question;
  if (sock == -1) {
    trace::Print<trace::kQuerySocketUnusable>();
    return 0;
  }
  query.length = ReceiveDatagram(sock, query.bytes, kDatagramCapacity, query.sender);
  if (query.length == -1) {
    trace::Print<trace::kNoQueryReceived>();
    return 0;
  }
  std::memset(query.bytes + query.length, 0, kLabelOverrun);
  const AddressText from(query.sender);
  trace::Print<trace::kQueryReceived>(query.length, from.c_str());
  if (!HeaderIsAccepted(query, from.c_str())) return 0;
  if (!QuestionIsAccepted(query, from.c_str(), question)) return 0;
  FileAndStart(query, question);
  return 1;
}
