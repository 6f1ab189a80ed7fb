#include "common/trace/line_reading.h"

#include <charconv>
#include <cstddef>

#include "common/trace/line_pattern.h"

namespace ctl {
namespace {

// A line that begins with "func: ", the function and the message's number: what follows them.
struct Message {
  int number;
  std::string_view function;
  std::string_view pattern;
  EventKind kind;
};

constexpr std::string_view kMain = "main";
constexpr std::string_view kStart = "StartDnsSrv";
constexpr std::string_view kAnswerThread = "thread_answer";
constexpr std::string_view kQueryThread = "thread_query";
constexpr std::string_view kIntake = "RecvAndProcessPacketsFromLocalApps";
constexpr std::string_view kDecoder = "ExtractDomain";
constexpr std::string_view kFallback = "TryNextDNSQueryMethod";
constexpr std::string_view kRelay = "RecvAndProcessPacketsFromDNSServer";

constexpr Message kMessages[] = {
    {79, kMain, " StartDnsSrv failed", EventKind::kNotStarted},
    {86, kMain, " StartDnsSrv failed", EventKind::kNotStarted},
    {90, kMain, " StartDnsSrv success", EventKind::kServiceEnded},
    {103, kStart, " socket invalid", EventKind::kPassing},
    {115, kStart, " bind %a:%d failed", EventKind::kBindFailed},
    {118, kStart, " bind %a:%d success", EventKind::kPassing},
    {124, kStart, " Add host map: %n -> %a", EventKind::kHostMapAdded},
    {136, kStart, " Add KQ DNS to list: %n", EventKind::kServerAdded},
    {151, kStart, " pthread_create g_thread_answer failed", EventKind::kPassing},
    {154, kStart, " pthread_create g_thread_answer success", EventKind::kPassing},
    {158, kStart, " pthread_create thread_query failed", EventKind::kPassing},
    {161, kStart, " pthread_create thread_query success", EventKind::kServing},
    {222, kAnswerThread, " Socket SockToDNSServers is invalid, AnswerThread exit",
     EventKind::kResponseWaitFailed},
    {230, kAnswerThread, " AnswerThread: select failed. exit.", EventKind::kResponseWaitFailed},
    {235, kAnswerThread, " AnswerThread: select timeout.", EventKind::kPassing},
    {239, kAnswerThread, " AnswerThread: received dns response.", EventKind::kPassing},
    {245, kAnswerThread, " RecvAndProcessPacketsFromDNSServer failed, exit.",
     EventKind::kRelayEnded},
    {264, kQueryThread, " Socket SockToClientApps is invalid, QueryThread exit",
     EventKind::kQueryWaitFailed},
    {273, kQueryThread, " QureyThread: select failed. exit", EventKind::kQueryWaitFailed},
    {282, kQueryThread, " ****QureyThread***: received dns request", EventKind::kPassing},
    {308, kRelay, " RecvAndProcessPacketsFromDNSServer: socket fd is invalid",
     EventKind::kResponseReceiveFailed},
    {314, kRelay, " RecvAndProcessPacketsFromDNSServer: recv nothing...",
     EventKind::kResponseReceiveFailed},
    {325, kRelay, " FromDNSServer: recv %d data from %a", EventKind::kResponseDatagram},
    {327, kRelay, " FromDNSServer: do_answer: answer too short: %d, from: %a",
     EventKind::kResponseTooShort},
    {338, kRelay, " rsp from: %a, id: %d, request not found", EventKind::kUnknownResponse},
    {352, kRelay, " id: %d, dns_index:%d current dns rsp from: %a, should from: %e, it seems error",
     EventKind::kWrongSource},
    {364, kRelay, " id: %d: sendto failed: %d", EventKind::kAnswerNotSent},
    {367, kRelay, " domain %n received answer %d.%d.%d.%d from %a, we have to delete id:%d",
     EventKind::kRelayed},
    {372, kRelay, " rsp from: %a, id: %d, for : %n, no such name", EventKind::kWithoutAnswer},
    {393, kIntake, "RecvAndProcessPacketsFromLocalApps: socket fd is invalid",
     EventKind::kQueryReceiveFailed},
    {398, kIntake, "RecvAndProcessPacketsFromLocalApps: recv nothing...",
     EventKind::kQueryReceiveFailed},
    {412, kIntake, "FromAPP: received %d data from %a", EventKind::kQueryDatagram},
    {415, kIntake, "FromAPP: query too short from %a", EventKind::kQueryTooShort},
    {420, kIntake, " pDNSHeader QuestionCount :%d", EventKind::kPassing},
    {423, kIntake, "FromAPP: QuestionCount invalid: %d, from: %a",
     EventKind::kQuestionCountRefused},
    {429, kIntake, "FromAPP: domain is empty, from: %a", EventKind::kDomainEmpty},
    {432, kIntake, " received dns request............%n", EventKind::kPassing},
    {464, kIntake, "FromAPP: the request domain is %n, id:%d", EventKind::kRequestFiled},
    {482, kDecoder, "ExtractDomain invalid value:%d", EventKind::kNameCutShort},
    {488, kDecoder, "ExtractDomain: buffer overflow when parsing qname, chunk_len: %d",
     EventKind::kNameCutShort},
    {504, kDecoder, "ExtractDomain: buffer overflow when add suffix dot, chunk_len: %d",
     EventKind::kNameCutShort},
    {614, kFallback, "TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:%d", EventKind::kAdvanced},
    {618, kFallback, "TryNextDNSQueryMethod: %a: id: %d, request not found", EventKind::kPassing},
    {624, kFallback, " CurrentDNSMethodIndex: %d, DnsListSize:%d", EventKind::kPosition},
    {669, kFallback, " find %n from hostmap, ip:%d.%d.%d.%d, req id:%d",
     EventKind::kFoundInHostMap},
    {673, kFallback, "DNS service: sendto for host map failed", EventKind::kAnswerNotSent},
    {685, kFallback, " no more DNS methods, send no such name response", EventKind::kExhausted},
    {703, kFallback, "TryNextDNSQueryMethod: id: %d, sendto failed", EventKind::kAnswerNotSent},
};

// The few lines without a number.
struct PlainLine {
  std::string_view pattern;
  EventKind kind;
};
constexpr PlainLine kPlainLines[] = {
    {"**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)",
     EventKind::kMethod},
    {"TryNextDNSQueryMethod: id: %d,sendto failed: %d", EventKind::kForwardFailed},
    {"read hostmap: %n", EventKind::kConfigurationLine},
    {"read dns: %n", EventKind::kConfigurationLine},
    {"dnsproxy: dns_size:%d, hostmap_size:%d", EventKind::kConfigurationCounts},
};

constexpr std::string_view kPrefix = "func: ";
constexpr std::string_view kBeforeNumber = "(line:";
constexpr std::size_t kNumbers = 704;  // one more than the highest message number

// The message of each number, so that none has to be searched for.
struct MessageIndex {
  constexpr MessageIndex() {
    for (const Message& message : kMessages) {
      by_number[static_cast<std::size_t>(message.number)] = &message;
    }
  }
  const Message* by_number[kNumbers] = {};
};
constexpr MessageIndex kIndex;

bool ReadPlainLine(std::string_view line, Event& event) {
  for (const PlainLine& plain : kPlainLines) {
    if (plain.pattern.front() != line.front()) continue;
    event = Event();
    event.kind = plain.kind;
    if (MatchLine(line, plain.pattern, event)) return true;
  }
  return false;
}

}  // namespace

bool ReadTraceLine(std::string_view line, Event& event) {
  if (line.empty()) return false;
  if (line.substr(0, kPrefix.size()) != kPrefix) return ReadPlainLine(line, event);
  line.remove_prefix(kPrefix.size());
  const std::size_t open = line.find('(');
  if (open == std::string_view::npos) return false;
  const std::string_view function = line.substr(0, open);
  line.remove_prefix(open);
  if (line.substr(0, kBeforeNumber.size()) != kBeforeNumber) return false;
  line.remove_prefix(kBeforeNumber.size());
  std::size_t number = 0;
  const auto result = std::from_chars(line.data(), line.data() + line.size(), number);
  line.remove_prefix(static_cast<std::size_t>(result.ptr - line.data()));
  if (result.ec != std::errc() || number >= kNumbers || line.empty() || line.front() != ')') {
    return false;
  }
  const Message* message = kIndex.by_number[number];
  if (message == nullptr || message->function != function) return false;
  event = Event();
  event.kind = message->kind;
  return MatchLine(line.substr(1), message->pattern, event);
}

}  // namespace ctl
