#include "common/trace/reader_inside.h"

namespace ctl {
namespace {

constexpr char kOthers[] = "others";

// The most frequent lines that make no event.
bool OnlyLeadsUp(Line line) {
  return line == Line::kQueryReadable || line == Line::kQueryReceived ||
         line == Line::kQuestionCountRead || line == Line::kResponseReadable ||
         line == Line::kResponseReceived;
}

}  // namespace

TraceReader::Inside::Inside() : names_(queries), reading_(state_, names_) {
  constexpr std::size_t kIds = 65536;
  names_.ids_without_name.assign(kIds, true);
}

// Makes the events of a line that stands where it can; false for one that does not.
bool TraceReader::Inside::Place(const LineFields& fields) {
  const Worker* printer = nullptr;
  const bool was_reading = state_.start.IsReading();
  if (!state_.Place(fields, false, printer)) return false;
  if (printer == nullptr) {
    TellOfRun(fields);
    return true;
  }
  if (was_reading) not_understood += state_.start.CancelReading();
  if (OnlyLeadsUp(fields.line)) return true;
  if (fields.line >= Line::kNextMethodTried) {
    TellOfFallback(fields, *printer);
  } else if (*printer == Worker::kQuery) {
    TellOfIntake(fields);
  } else {
    TellOfRelay(fields);
  }
  return true;
}

void TraceReader::Inside::Tell(TraceEvent& event) {
  event.arrival = now_;
  event.line = lines + 1;
  for (TraceConsumer* consumer : consumers) consumer->Take(event);
}

void TraceReader::Inside::TellOf(TraceEventKind kind, const Query& query) {
  TraceEvent event;
  event.kind = kind;
  event.query = &query;
  Tell(event);
}

std::uint16_t TraceReader::Inside::ServerAt(std::string_view address) {
  const auto found = server_indices_.find(std::string(address));
  if (found != server_indices_.end()) return found->second;
  const bool is_last = servers.size() + 1 >= kMostServers;
  if (servers.size() < kMostServers) servers.emplace_back(is_last ? kOthers : address);
  const auto index = static_cast<std::uint16_t>(servers.size() - 1);
  if (!is_last) server_indices_.emplace(address, index);
  return index;
}

void TraceReader::Inside::BeginRun(const LineFields& fields) {
  LoseAll();
  names_.ids_without_name.clear();
  methods_.clear();
  at_work_ = {};
  TraceEvent event;
  event.kind = TraceEventKind::kRunBegun;
  event.numbers = {fields.numbers[0], fields.numbers[1]};
  Tell(event);
}

void TraceReader::Inside::TellOfRun(const LineFields& fields) {
  TraceEvent event;
  switch (fields.line) {
    case Line::kConfigurationCounts:
      return BeginRun(fields);
    case Line::kHostMapPairAdded:
      if (methods_.empty()) methods_.push_back(kNoServer);
      return;
    case Line::kServerAdded:
      return AddMethod(fields.text);
    case Line::kQueryThreadCreated:
      event.kind = TraceEventKind::kServing;
      break;
    case Line::kBindFailed:
      event.kind = TraceEventKind::kBindFailed;
      break;
    case Line::kNothingConfigured:
    case Line::kServiceStartFailed:
      event.kind = TraceEventKind::kNotStarted;
      LoseAll();
      break;
    case Line::kServiceEnded:
      event.kind = TraceEventKind::kServiceEnded;
      LoseAll();
      break;
    default:
      return;
  }
  Tell(event);
}

void TraceReader::Inside::TellOfIntake(const LineFields& fields) {
  TraceEvent event;
  event.numbers = {state_.datagram_size, fields.numbers[0]};
  event.address = fields.address;
  switch (fields.line) {
    case Line::kQueryTooShort:
      event.kind = TraceEventKind::kQueryTooShort;
      break;
    case Line::kQuestionCountRefused:
      event.kind = TraceEventKind::kQuestionCountRefused;
      break;
    case Line::kDomainEmpty:
      event.kind = TraceEventKind::kDomainEmpty;
      break;
    case Line::kQuerySocketUnusable:
    case Line::kNoQueryReceived:
      event.kind = TraceEventKind::kQueryReceiveFailed;
      break;
    case Line::kQuerySocketInvalid:
    case Line::kQuerySelectFailed:
      event.kind = TraceEventKind::kQueryWaitFailed;
      break;
    case Line::kLabelLengthNegative:
    case Line::kLabelOverflowsName:
    case Line::kDotOverflowsName:
      event.kind = TraceEventKind::kNameCutShort;
      break;
    case Line::kDomainDecoded:
      names_.decoded = fields.text;
      return;
    case Line::kRequestFiled:
      return FileQuery(fields);
    default:
      return;
  }
  Tell(event);
}

void TraceReader::Inside::TellOfRelay(const LineFields& fields) {
  TraceEvent event;
  event.numbers = {fields.numbers[0], fields.numbers[1]};
  event.address = fields.address;
  event.expected = fields.expected;
  switch (fields.line) {
    case Line::kResponseRelayed:
    case Line::kResponseWithoutAnswer:
      return RelayOf(fields);
    case Line::kRelayNotSent:
      event.kind = TraceEventKind::kAnswerNotSent;
      event.query = &QueryWithId(fields.id);
      break;
    case Line::kResponseFromWrongSource:
      event.kind = TraceEventKind::kWrongSource;
      event.query = &QueryWithId(fields.id);
      break;
    case Line::kResponseWithoutRequest:
      queries.ForgetSuccessor(static_cast<std::uint16_t>(fields.id));
      event.kind = TraceEventKind::kUnknownResponse;
      break;
    case Line::kResponseTooShort:
      event.kind = TraceEventKind::kResponseTooShort;
      break;
    case Line::kResponseSocketUnusable:
    case Line::kNoResponseReceived:
      event.kind = TraceEventKind::kResponseReceiveFailed;
      break;
    case Line::kAnswerSocketInvalid:
    case Line::kAnswerSelectFailed:
      event.kind = TraceEventKind::kResponseWaitFailed;
      break;
    case Line::kRelayEnded:
      event.kind = TraceEventKind::kRelayEnded;
      break;
    default:
      return;
  }
  Tell(event);
}

}  // namespace ctl
