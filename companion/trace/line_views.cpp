#include "common/output/clock.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/trace/views.h"

namespace ctl {
namespace {

std::string Number(const TraceEvent& event, std::size_t at) {
  return std::to_string(event.numbers[at]);
}

std::string About(const Query& query, const std::string& what) {
  return (query.name.empty() ? "a query" : Shown(query.name)) + ": " + what;
}

std::string NewsOfQuery(const TraceEvent& event) {
  const Query& query = *event.query;
  const std::string from = Shown(event.address);
  switch (event.kind) {
    case TraceEventKind::kFoundInHostMap:
      return About(query, Number(event, 0) + '.' + Number(event, 1) + '.' + Number(event, 2) + '.' +
                              Number(event, 3) + " from the host map");
    case TraceEventKind::kRelayed:
      return About(query, "answered by " + from);
    case TraceEventKind::kWithoutAnswer:
      return About(query, "no answer from " + from);
    case TraceEventKind::kExhausted:
      return About(query, "no such name");
    case TraceEventKind::kForwardFailed:
      return About(query,
                   "dropped, the system refused to send it (error " + Number(event, 0) + ')');
    case TraceEventKind::kWrongSource:
      return About(query,
                   "dropped a response from " + from + " instead of " + Shown(event.expected));
    case TraceEventKind::kAnswerNotSent:
      return "an answer was not sent, the system refused";
    default:
      return "";
  }
}

std::string NewsOfWorkers(const TraceEvent& event) {
  const std::string from = " from " + Shown(event.address);
  switch (event.kind) {
    case TraceEventKind::kQueryTooShort:
    case TraceEventKind::kQuestionCountRefused:
    case TraceEventKind::kDomainEmpty:
      return "a datagram" + from + " has ended the intake of queries";
    case TraceEventKind::kQueryReceiveFailed:
    case TraceEventKind::kQueryWaitFailed:
      return "the intake of queries has ended";
    case TraceEventKind::kRelayEnded:
      return "the relay of responses has ended, and the proxy ends with it";
    case TraceEventKind::kUnknownResponse:
      return "dropped a response" + from + " to no waiting query";
    default:
      return "";
  }
}

std::string NewsOfRun(const TraceEvent& event) {
  switch (event.kind) {
    case TraceEventKind::kRunBegun:
      return "the proxy starts with " +
             Counted(static_cast<std::uint64_t>(event.numbers[0]), "server") + " and " +
             Counted(static_cast<std::uint64_t>(event.numbers[1]), "host map entry",
                     "host map entries");
    case TraceEventKind::kServing:
      return "the proxy serves";
    case TraceEventKind::kBindFailed:
      return "127.0.0.1:53 is taken, or may not be bound";
    case TraceEventKind::kNotStarted:
      return "the proxy could not start";
    case TraceEventKind::kServiceEnded:
      return "the proxy has ended";
    default:
      return "";
  }
}

// An event as a line for somebody who follows the trace: how a query ended, what was dropped, that
// the proxy or one of its workers began or ended. Empty for all other events.
std::string News(const TraceEvent& event) {
  if (event.query != nullptr) return NewsOfQuery(event);
  const std::string news = NewsOfWorkers(event);
  return news.empty() ? NewsOfRun(event) : news;
}

}  // namespace

void NewsView::Take(const TraceEvent& event) {
  const std::string news = News(event);
  if (!news.empty()) Print(news + '\n');
}

void NewsView::Refresh(const Tally& /*tally*/) { FlushOutput(); }

void NewsView::End(const Tally& tally) {
  if (tally.reader().not_understood() > 0) Print(UnderstandingInWords(tally) + '\n');
}

void JsonView::Refresh(const Tally& tally) {
  const bool has_changed = !is_begun_ || shown_lines_ != tally.reader().lines();
  if (!has_changed || MonotonicNow() < next_print_) return;
  next_print_ = MonotonicNow() + kBetweenDraws;
  is_begun_ = true;
  shown_lines_ = tally.reader().lines();
  Print(JsonReport(tally, names_) + '\n');
  FlushOutput();
}

void JsonView::End(const Tally& tally) {
  const bool has_changed = !is_begun_ || shown_lines_ != tally.reader().lines();
  if (has_changed || tally.reader().has_unfinished_line()) {
    Print(JsonReport(tally, names_) + '\n');
  }
}

}  // namespace ctl
