#include "companion/trace/news.h"

#include "common/output/shown_text.h"
#include "common/trace/line_reading.h"

namespace ctl {
namespace {

std::string Number(const Event& event, std::size_t at) { return std::to_string(event.numbers[at]); }

std::string About(std::string_view name, const std::string& what) {
  return Shown(name) + ": " + what;
}

std::string NewsOfQuery(const Event& event, const Tally& tally) {
  switch (event.kind) {
    case EventKind::kFoundInHostMap:
      return About(event.name, Number(event, 0) + '.' + Number(event, 1) + '.' + Number(event, 2) +
                                   '.' + Number(event, 3) + " from the host map");
    case EventKind::kRelayed:
      return About(event.name, "answered by " + Shown(event.address));
    case EventKind::kWithoutAnswer:
      return About(event.name, "no answer from " + Shown(event.address));
    case EventKind::kExhausted:
      return About(tally.CurrentName(), "no such name");
    case EventKind::kForwardFailed:
      return About(tally.CurrentName(),
                   "dropped, the system refused to send it (error " + Number(event, 1) + ')');
    default:
      return "";
  }
}

std::string NewsOfDatagram(const Event& event, const Tally& tally) {
  const std::string from = " from " + Shown(event.address);
  switch (event.kind) {
    case EventKind::kQueryTooShort:
    case EventKind::kQuestionCountRefused:
    case EventKind::kDomainEmpty:
      return "a datagram" + from + " has ended the intake of queries";
    case EventKind::kQueryReceiveFailed:
    case EventKind::kQueryWaitFailed:
      return "the intake of queries has ended";
    case EventKind::kRelayEnded:
      return "the relay of responses has ended, and the proxy ends with it";
    case EventKind::kUnknownResponse:
      return "dropped a response" + from + " to no waiting query";
    case EventKind::kWrongSource:
      return About(tally.NameOf(static_cast<std::uint16_t>(event.numbers[0])),
                   "dropped a response" + from + " instead of " + Shown(event.expected));
    case EventKind::kAnswerNotSent:
      return "an answer was not sent, the system refused";
    default:
      return "";
  }
}

std::string NewsOfRun(const Event& event) {
  switch (event.kind) {
    case EventKind::kConfigurationCounts:
      return "the proxy starts with " +
             Counted(static_cast<std::uint64_t>(event.numbers[0]), "server") + " and " +
             Counted(static_cast<std::uint64_t>(event.numbers[1]), "host map entry",
                     "host map entries");
    case EventKind::kServing:
      return "the proxy serves";
    case EventKind::kBindFailed:
      return "127.0.0.1:53 is taken, or may not be bound";
    case EventKind::kNotStarted:
      return "the proxy could not start";
    case EventKind::kServiceEnded:
      return "the proxy has ended";
    default:
      return "";
  }
}

}  // namespace

std::string News(std::string_view line, const Tally& tally) {
  Event event;
  if (!ReadTraceLine(line, event)) return "";
  std::string news = NewsOfQuery(event, tally);
  if (news.empty()) news = NewsOfDatagram(event, tally);
  if (news.empty()) news = NewsOfRun(event);
  return news;
}

}  // namespace ctl
