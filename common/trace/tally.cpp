#include "common/trace/tally.h"

#include "common/configuration/address_text.h"
#include "common/output/shown_text.h"
#include "common/trace/line_reading.h"

namespace ctl {
Tally::Tally() : in_flight_(kIds) {}

void Tally::TakeLine(std::string_view line) {
  ++lines_;
  Event event;
  if (ReadTraceLine(line, event)) {
    Take(event);
    return;
  }
  if (not_understood_++ == 0) first_not_understood_ = lines_;
}

void Tally::Take(const Event& event) {
  switch (event.kind) {
    case EventKind::kPassing:
    case EventKind::kConfigurationLine:
      return;
    case EventKind::kConfigurationCounts:
    case EventKind::kNotStarted:
    case EventKind::kServiceEnded:
    case EventKind::kServing:
    case EventKind::kBindFailed:
    case EventKind::kServerAdded:
    case EventKind::kHostMapAdded:
      return TakeOfStart(event);
    case EventKind::kQueryDatagram:
    case EventKind::kQueryTooShort:
    case EventKind::kQuestionCountRefused:
    case EventKind::kDomainEmpty:
    case EventKind::kQueryReceiveFailed:
    case EventKind::kQueryWaitFailed:
    case EventKind::kNameCutShort:
    case EventKind::kRequestFiled:
      return TakeOfIntake(event);
    case EventKind::kAdvanced:
    case EventKind::kPosition:
    case EventKind::kMethod:
    case EventKind::kForwardFailed:
    case EventKind::kFoundInHostMap:
    case EventKind::kExhausted:
    case EventKind::kAnswerNotSent:
      return TakeOfFallback(event);
    default:
      return TakeOfRelay(event);
  }
}

void Tally::TakeOfStart(const Event& event) {
  switch (event.kind) {
    case EventKind::kConfigurationCounts:
      return BeginRun();
    case EventKind::kServing:
      run_state_ = RunState::kServing;
      return;
    case EventKind::kHostMapAdded:
      if (methods_.empty()) methods_.push_back(-1);
      return;
    case EventKind::kServerAdded:
      methods_.push_back(ServerAt(ReadAddress(std::string(event.name)).Dotted()));
      return;
    case EventKind::kServiceEnded:
      return EndRun(RunState::kEnded);
    case EventKind::kNotStarted:
      return EndRun(RunState::kNotStarted);
    default:
      return;
  }
}

void Tally::TakeOfIntake(const Event& event) {
  switch (event.kind) {
    case EventKind::kQueryDatagram:
      datagram_length_ = event.numbers[0];
      datagram_sender_ = event.address;
      return;
    case EventKind::kQueryTooShort:
      Drop(DropReason::kQueryTooShort);
      return EndWorker(intake_, LastDatagram(", shorter than a header"));
    case EventKind::kQuestionCountRefused:
      Drop(DropReason::kQuestionCount);
      return EndWorker(intake_,
                       LastDatagram(" with ") +
                           Counted(static_cast<std::uint64_t>(event.numbers[0]), "question"));
    case EventKind::kDomainEmpty:
      Drop(DropReason::kNameEmpty);
      return EndWorker(intake_, LastDatagram(" with an empty name"));
    case EventKind::kQueryReceiveFailed:
      return EndWorker(intake_, "a failed receive call");
    case EventKind::kQueryWaitFailed:
      return EndWorker(intake_, "a failed wait for its socket");
    case EventKind::kNameCutShort:
      ++names_cut_short_;
      return;
    default:
      return FileRequest(event);
  }
}

void Tally::TakeOfFallback(const Event& event) {
  switch (event.kind) {
    case EventKind::kAdvanced:
      current_id_ = static_cast<std::uint16_t>(event.numbers[0]);
      return;
    case EventKind::kPosition:
      current_position_ = event.numbers[0];
      return;
    case EventKind::kMethod:
      if (event.numbers[0] == 0) SendToServer();
      return;
    case EventKind::kForwardFailed:
      return FailToSend(static_cast<std::uint16_t>(event.numbers[0]));
    case EventKind::kFoundInHostMap:
      ++from_host_map_;
      return Settle(event.LastNumberAsId());
    case EventKind::kExhausted:
      ++no_such_name_;
      return Settle(current_id_);
    default:
      return Drop(DropReason::kNotSentToApplication);
  }
}

void Tally::TakeOfRelay(const Event& event) {
  switch (event.kind) {
    case EventKind::kResponseTooShort:
      Drop(DropReason::kResponseTooShort);
      return EndWorker(relay_, "a datagram of " + std::to_string(event.numbers[0]) +
                                   " bytes from " + Shown(event.address) +
                                   ", shorter than a header");
    case EventKind::kResponseReceiveFailed:
      return EndWorker(relay_, "a failed receive call");
    case EventKind::kResponseWaitFailed:
      return EndWorker(relay_, "a failed wait for its socket");
    case EventKind::kUnknownResponse:
      return Drop(DropReason::kUnknownResponse);
    case EventKind::kWrongSource:
      return Drop(DropReason::kWrongSource);
    case EventKind::kRelayed:
      ++answered_;
      ++servers_[static_cast<std::size_t>(ServerAt(event.address))].answers;
      return Settle(event.LastNumberAsId());
    case EventKind::kWithoutAnswer:
      ++servers_[static_cast<std::size_t>(ServerAt(event.address))].empty;
      return;
    default:
      return;
  }
}

}  // namespace ctl
