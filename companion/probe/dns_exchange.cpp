#include "companion/probe/dns_exchange.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <utility>

#include "common/output/clock.h"
#include "common/output/shown_text.h"
#include "dns_proxy_mac/engine/dns_message.h"
#include "dns_proxy_mac/state/dns_request.h"

namespace ctl {
namespace {

constexpr std::string_view kQuestion(
    "\x01"
    "1"
    "\x01"
    "0"
    "\x01"
    "0"
    "\x03"
    "127"
    "\x07"
    "in-addr"
    "\x04"
    "arpa"
    "\x00"       // end of the name
    "\x00\x0C"   // type PTR
    "\x00\x01",  // class IN
    28);
constexpr std::uint8_t kRecursionDesired = 0x01;
constexpr int kRcodeRefused = 5;
constexpr int kRcodeServerFailure = 2;

constexpr std::string_view kEndAndAddressType("\x00\x00\x01\x00\x01", 5);

DNSHeader HeaderOf(std::string_view message) { return ReadHeader(message.data()); }

std::string QueryHeader() {
  DNSHeader header{};
  header.usId = static_cast<std::uint16_t>(std::random_device()());
  header.FlagsFirst = kRecursionDesired;
  header.QuestionCount = htons(1);
  std::string bytes(kHeaderSize, '\0');
  WriteHeader(bytes.data(), header);
  return bytes;
}

std::string_view QuestionOf(const ProbeQuery& query) {
  return std::string_view(query.bytes).substr(kHeaderSize);
}

}  // namespace

ProbeQuery::ProbeQuery() : bytes(QueryHeader().append(kQuestion)) {}

ProbeQuery::ProbeQuery(std::string_view name) : bytes(QueryHeader()) {
  while (!name.empty()) {
    const std::string_view label = name.substr(0, name.find('.'));
    bytes.append(1, static_cast<char>(label.size())).append(label);
    name.remove_prefix(std::min(label.size() + 1, name.size()));
  }
  bytes.append(kEndAndAddressType);
}

bool IsAnswerTo(const ProbeQuery& query, std::string_view response) {
  if (response.size() < kHeaderSize) return false;
  const DNSHeader header = HeaderOf(response);
  if (header.usId != HeaderOf(query.bytes).usId) return false;
  if ((header.FlagsFirst & kFlagResponse) == 0) return false;
  const std::string_view question = QuestionOf(query);
  return header.QuestionCount == 0 || response.substr(kHeaderSize, question.size()) == question;
}

bool IsProxysNoSuchName(const ProbeQuery& query, std::string_view answer) {
  DNSHeader header{};
  header.usId = HeaderOf(query.bytes).usId;
  header.FlagsFirst = kFlagResponse;
  header.FlagsSecond = kRcodeNameError;
  header.QuestionCount = htons(1);
  std::string expected(kHeaderSize, '\0');
  WriteHeader(expected.data(), header);
  expected += QuestionOf(query);
  return answer == expected;
}

std::string InWords(std::string_view answer) {
  const DNSHeader header = HeaderOf(answer);
  const int rcode = header.FlagsSecond & kRcodeMask;
  if (rcode == kRcodeNameError) return "no such name";
  if (rcode == kRcodeRefused) return "refused";
  if (rcode == kRcodeServerFailure) return "server failure";
  if (rcode != 0) return "response code " + std::to_string(rcode);
  return Counted(ntohs(header.AnswerCount), "record");
}

Exchange::Exchange(const sockaddr_in& to, ProbeQuery query)
    : query_(std::move(query)), socket_(socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP)) {
  sent_at_ = MonotonicNow();
  const auto* address = reinterpret_cast<const sockaddr*>(&to);
  // Connected, so that the kernel drops what strangers send and reports a port where nobody
  // listens.
  if (socket_ < 0 || connect(socket_, address, sizeof(to)) != 0 ||
      send(socket_, query_.bytes.data(), query_.bytes.size(), 0) < 0) {
    Fail(errno);
  }
}

Exchange::~Exchange() {
  if (socket_ >= 0) close(socket_);
}

void Exchange::Fail(int error) {
  state_ = error == ECONNREFUSED ? ExchangeState::kNobodyThere : ExchangeState::kFailed;
  reason_ = std::strerror(error);
  is_without_route_ = error == ENETUNREACH || error == EHOSTUNREACH || error == ENETDOWN;
}

void Exchange::Receive() {
  char datagram[kDatagramCapacity];
  const ssize_t length = recv(socket_, datagram, sizeof(datagram), MSG_DONTWAIT);
  if (length < 0) {
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) Fail(errno);
    return;
  }
  const std::string_view response(datagram, static_cast<std::size_t>(length));
  if (!IsAnswerTo(query_, response)) return;
  milliseconds_ = static_cast<double>(MonotonicNow() - sent_at_) / kNanosecondsInMillisecond;
  answer_ = response;
  state_ = ExchangeState::kAnswered;
}

void WaitForAnswers(const Exchanges& exchanges, int timeout_ms) {
  const std::int64_t end = MonotonicNow() + timeout_ms * kNanosecondsInMillisecond;
  for (;;) {
    std::vector<pollfd> sockets;
    std::vector<Exchange*> waiting;
    for (const auto& exchange : exchanges) {
      if (exchange->state() != ExchangeState::kWaiting) continue;
      sockets.push_back({exchange->descriptor(), POLLIN, 0});
      waiting.push_back(exchange.get());
    }
    const std::int64_t left = end - MonotonicNow();
    if (waiting.empty() || left <= 0) return;
    const std::int64_t left_ms = (left + kNanosecondsInMillisecond - 1) / kNanosecondsInMillisecond;
    poll(sockets.data(), static_cast<nfds_t>(sockets.size()), static_cast<int>(left_ms));
    for (std::size_t at = 0; at < sockets.size(); ++at) {
      if (sockets[at].revents != 0) waiting[at]->Receive();
    }
  }
}

}  // namespace ctl
