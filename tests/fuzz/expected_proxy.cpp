#include "tests/fuzz/expected_proxy.h"

#include "tests/fuzz/expected_name.h"
#include "tests/fuzz/wire.h"

namespace {

constexpr std::size_t kLargestDatagram = 8192;
constexpr std::size_t kLargestHostMapQuery = 8175;
constexpr std::size_t kLargestName = 1024;
constexpr std::size_t kLongestLabel = 127;
constexpr std::uint8_t kReverseIndex = 159;
constexpr std::uint16_t kAaaa = 28;

// An id as it lies in a message: the low byte first.
std::string WireId(std::uint16_t id) {
  return {static_cast<char>(id & 0xFF), static_cast<char>(id >> 8)};
}

std::uint16_t IdOf(const std::string& message) {
  return static_cast<std::uint16_t>(ByteAt(message, 0) | ByteAt(message, 1) << 8);
}

std::string LowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// The low byte of the count, on the wire the second, decides: it is the sign of what is read.
bool CountsAsAnswer(const std::string& response) {
  return ByteAt(response, 7) < 0x80 && (ByteAt(response, 6) != 0 || ByteAt(response, 7) != 0);
}

}  // namespace

int ExpectedProxy::TakeQuery(const std::string& datagram, const std::string& client) {
  const std::string query = datagram.substr(0, kLargestDatagram);
  if (query.size() < kHeader || query.substr(4, 2) != std::string("\0\1", 2)) return 0;
  const ExpectedName name = ExpectedNameOf(query.substr(kHeader) + std::string(kLongestLabel, '\0'),
                                           query.size() - kHeader, kLargestName);
  if (name.Text().empty()) return 0;

  const std::uint16_t id = next_id++;
  ExpectedRequest request;
  request.client_id = query.substr(0, 2);
  request.client = client;
  request.packet = WireId(id) + query.substr(2);
  request.name = name.Text();
  request.type = name.type.value_or(0);
  request.type_class = name.type_class.value_or(0);
  request.methods = methods;
  request.index = request.name.find(".in-addr.arpa") == std::string::npos ? 0 : kReverseIndex;
  in_flight.emplace(id, request);
  TryNextMethod(id);
  return 1;
}

int ExpectedProxy::TakeResponse(const std::string& datagram, const std::string& from) {
  const std::string response = datagram.substr(0, kLargestDatagram);
  if (response.size() < kHeader) return 0;
  const std::uint16_t id = IdOf(response);
  const auto found = in_flight.find(id);
  if (found == in_flight.end()) return 1;
  ExpectedRequest& request = found->second;
  if (request.index >= request.methods->size()) return 1;
  if (request.methods->at(request.index).address != from) return 1;
  if (CountsAsAnswer(response)) {
    sent.push_back({true, request.client_id + response.substr(2), request.client});
    in_flight.erase(found);
  } else {
    ++request.index;
    TryNextMethod(id);
  }
  return 1;
}

void ExpectedProxy::TryNextMethod(std::uint16_t id) {
  ExpectedRequest& request = in_flight.at(id);
  while (request.index < request.methods->size()) {
    const ExpectedMethod& method = request.methods->at(request.index);
    if (method.kind == ExpectedMethod::kUnknown) return;
    if (method.kind == ExpectedMethod::kServer) {
      sent.push_back({false, request.packet, method.address});
      if (servers_unreachable) in_flight.erase(id);
      return;
    }
    if (AnsweredFromHosts(request)) {
      in_flight.erase(id);
      return;
    }
    ++request.index;
  }
  SendNoSuchName(request);
  in_flight.erase(id);
}

bool ExpectedProxy::AnsweredFromHosts(const ExpectedRequest& request) {
  const auto host = hosts.find(LowerCase(request.name));
  if (host == hosts.end() || request.packet.size() > kLargestHostMapQuery) return false;
  std::string answer = request.client_id + request.packet.substr(2);
  answer[2] = static_cast<char>(ByteAt(answer, 2) | 0x80);
  answer[3] = static_cast<char>(ByteAt(answer, 3) & 0xF0);
  answer[6] = 0;
  answer[7] = request.type == kAaaa ? 2 : 1;
  const std::string record("\xC0\x0C\x00\x01\x00\x01\x00\x01\x51\x80\x00\x04", 12);
  sent.push_back({true, answer + record + host->second, request.client});
  return true;
}

void ExpectedProxy::SendNoSuchName(const ExpectedRequest& request) {
  const std::string flags_and_counts("\x80\x03\x00\x01\x00\x00\x00\x00\x00\x00", 10);
  sent.push_back(
      {true, request.client_id + flags_and_counts + request.packet.substr(12), request.client});
}
