#include "dns_proxy_mac/engine/synthesized_responses.h"

#include <arpa/inet.h>

#include <cstring>

#include "dns_proxy_mac/engine/dns_message.h"

bool HostMapAnswerFits(const DnsRequest& request) {
  return static_cast<std::size_t>(request.iQueryPacketLen) + kHostMapAnswerRoom <=
         kDatagramCapacity;
}

void BuildHostMapAnswer(DnsRequest& request, const HostRespData& record) {
  std::memcpy(request.QueryPacket + request.iQueryPacketLen, record.Record, kAnswerRecordSize);
  request.iQueryPacketLen += static_cast<std::int32_t>(kAnswerRecordSize);
  request.QueryPacket[request.iQueryPacketLen] = 0;

  DNSHeader header = ReadHeader(request.QueryPacket);
  header.usId = request.usClientId;
  header.FlagsFirst = header.FlagsFirst | kFlagResponse;
  header.FlagsSecond = static_cast<std::uint8_t>(header.FlagsSecond & ~kRcodeMask);
  header.AnswerCount = htons(request.usQType == kTypeAaaa ? 2 : 1);
  WriteHeader(request.QueryPacket, header);
}

void BuildNoSuchNameResponse(const DnsRequest& request, char (&response)[kDatagramCapacity]) {
  std::memset(response, 0, sizeof(response));
  std::memcpy(response, request.QueryPacket, static_cast<std::size_t>(request.iQueryPacketLen));

  DNSHeader header{};
  header.usId = request.usClientId;
  header.FlagsFirst = kFlagResponse;
  header.FlagsSecond = kRcodeNameError;
  header.QuestionCount = htons(1);
  WriteHeader(response, header);
}
