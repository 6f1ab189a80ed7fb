#include "common/trace/worker_steps.h"

namespace ctl {
namespace {

// Where a worker stands after its last line. Each place is one bit, so that a line can name
// several.
enum Place : std::uint32_t {
  kUnknown = 1U << 0,
  kWaits = 1U << 1,
  kReadable = 1U << 2,
  kReceived = 1U << 3,
  kCounted = 1U << 4,
  kDecoded = 1U << 5,  // line 432 alone
  kMustTry = 1U << 6,  // line 614 of this id comes next
  kTries = 1U << 7,
  kPositioned = 1U << 8,
  kAtHostMap = 1U << 9,
  kAsked = 1U << 10,      // behind the send to a server
  kFound = 1U << 11,      // behind the send of a host map answer
  kExhausted = 1U << 12,  // behind the send of "no such name"
  kNotRelayed = 1U << 13,
  kMustEnd = 1U << 14,
  kEnded = 1U << 15,
};
constexpr std::uint32_t kBetweenSteps = kWaits | kAsked | kFound | kExhausted;

enum Printer : std::uint8_t { kNobody = 0, kOfQuery = 1, kOfAnswer = 2, kOfBoth = 3 };
enum class IdRule : std::uint8_t { kNone, kTakes, kSame };

// Which worker prints a line, where it stands before and after it, and how the line's id relates to
// the query that the worker works on.
struct Move {
  Printer printer = kNobody;
  std::uint32_t from = 0;
  Place to = kUnknown;
  IdRule id = IdRule::kNone;
};

struct Moves {
  constexpr void Set(Line line, Move move) { of[static_cast<std::size_t>(line)] = move; }

  constexpr Moves() {
    SetWaits();
    SetIntake();
    SetRelay();
    SetFallback();
  }
  constexpr void SetWaits() {
    Set(Line::kQueryReadable, {kOfQuery, kBetweenSteps, kReadable});
    Set(Line::kQuerySelectFailed, {kOfQuery, kBetweenSteps, kEnded});
    Set(Line::kQuerySocketInvalid, {kOfQuery, kBetweenSteps, kEnded});
    Set(Line::kResponseReadable, {kOfAnswer, kBetweenSteps, kReadable});
    Set(Line::kAnswerSelectTimedOut, {kOfAnswer, kBetweenSteps, kWaits});
    Set(Line::kAnswerSelectFailed, {kOfAnswer, kBetweenSteps, kEnded});
    Set(Line::kAnswerSocketInvalid, {kOfAnswer, kBetweenSteps, kEnded});
    Set(Line::kRelayEnded, {kOfAnswer, kMustEnd, kEnded});
  }
  constexpr void SetIntake() {
    Set(Line::kQuerySocketUnusable, {kOfQuery, kReadable, kEnded});
    Set(Line::kNoQueryReceived, {kOfQuery, kReadable, kEnded});
    Set(Line::kQueryReceived, {kOfQuery, kReadable, kReceived});
    Set(Line::kQueryTooShort, {kOfQuery, kReceived, kEnded});
    Set(Line::kQuestionCountRead, {kOfQuery, kReceived, kCounted});
    Set(Line::kQuestionCountRefused, {kOfQuery, kCounted, kEnded});
    Set(Line::kLabelLengthNegative, {kOfQuery, kCounted, kCounted});
    Set(Line::kLabelOverflowsName, {kOfQuery, kCounted, kCounted});
    Set(Line::kDotOverflowsName, {kOfQuery, kCounted, kCounted});
    Set(Line::kDomainEmpty, {kOfQuery, kCounted, kEnded});
    Set(Line::kDomainDecoded, {kOfQuery, kCounted, kDecoded});
    Set(Line::kRequestFiled, {kOfQuery, kCounted | kDecoded, kMustTry, IdRule::kTakes});
  }
  constexpr void SetRelay() {
    Set(Line::kResponseSocketUnusable, {kOfAnswer, kReadable, kMustEnd});
    Set(Line::kNoResponseReceived, {kOfAnswer, kReadable, kMustEnd});
    Set(Line::kResponseReceived, {kOfAnswer, kReadable, kReceived});
    Set(Line::kResponseTooShort, {kOfAnswer, kReceived, kMustEnd});
    Set(Line::kResponseWithoutRequest, {kOfAnswer, kReceived, kWaits});
    Set(Line::kResponseFromWrongSource, {kOfAnswer, kReceived, kWaits});
    Set(Line::kRelayNotSent, {kOfAnswer, kReceived, kNotRelayed, IdRule::kTakes});
    Set(Line::kResponseRelayed, {kOfAnswer, kReceived | kNotRelayed, kWaits});
    Set(Line::kResponseWithoutAnswer, {kOfAnswer, kReceived, kMustTry, IdRule::kTakes});
  }
  constexpr void SetFallback() {
    Set(Line::kNextMethodTried, {kOfBoth, kMustTry | kAtHostMap, kTries, IdRule::kSame});
    Set(Line::kRequestToAdvanceNotFound, {kOfBoth, kTries, kWaits, IdRule::kSame});
    Set(Line::kMethodPosition, {kOfBoth, kTries, kPositioned});
    Set(Line::kMethodType, {kOfBoth, kPositioned, kAsked});
    Set(Line::kForwardFailed, {kOfBoth, kAsked, kWaits, IdRule::kSame});
    Set(Line::kFoundInHostMap, {kOfBoth, kAtHostMap, kFound, IdRule::kSame});
    Set(Line::kHostMapAnswerNotSent, {kOfBoth, kFound, kWaits});
    Set(Line::kMethodsExhausted, {kOfBoth, kPositioned, kExhausted});
    Set(Line::kNoSuchNameNotSent, {kOfBoth, kExhausted, kWaits, IdRule::kSame});
  }
  std::array<Move, kLines> of{};
};
constexpr Moves kMoves;

constexpr Worker kWorkers[] = {Worker::kQuery, Worker::kAnswer};

bool IsWithinStep(Worker worker, std::uint32_t place) {
  const bool is_behind_send = worker == Worker::kAnswer && place == kReceived;
  return (place & (kBetweenSteps | kUnknown | kEnded)) == 0 && !is_behind_send;
}

bool BeginsStep(Line line) {
  return line == Line::kQueryReadable || line == Line::kResponseReadable;
}

Place BehindMethod(const LineFields& fields) {
  if (fields.numbers[0] == 0) return kAsked;
  return fields.numbers[0] == 1 ? kAtHostMap : kWaits;
}

}  // namespace

void WorkerSteps::Forget() {
  standings_ = {{{kUnknown, LineFields::kNoId}, {kUnknown, LineFields::kNoId}}};
}

void WorkerSteps::BeginRun() {
  standings_ = {{{kWaits, LineFields::kNoId}, {kWaits, LineFields::kNoId}}};
}

bool WorkerSteps::CanPrint(Worker worker, const LineFields& fields, bool strict) const {
  const Move& move = kMoves.of[static_cast<std::size_t>(fields.line)];
  const Printer printer = worker == Worker::kQuery ? kOfQuery : kOfAnswer;
  if ((move.printer & printer) == 0) return false;
  const Standing& at = At(worker);
  if (at.place == kUnknown) return true;
  if (!strict && BeginsStep(fields.line) && at.place != kEnded) return true;
  if ((at.place & move.from) == 0) return false;
  return move.id != IdRule::kSame || at.id == fields.id || at.id == LineFields::kNoId;
}

const Worker* WorkerSteps::Place(const LineFields& fields, bool strict) {
  const Move& move = kMoves.of[static_cast<std::size_t>(fields.line)];
  const Worker* printer = nullptr;
  for (const Worker& worker : kWorkers) {
    if (!CanPrint(worker, fields, strict)) continue;
    if (printer != nullptr && At(worker).place == kUnknown) continue;
    if (printer == nullptr || At(*printer).place == kUnknown ||
        IsWithinStep(worker, At(worker).place))
      printer = &worker;
  }
  if (printer == nullptr) return nullptr;
  const Worker other = *printer == Worker::kQuery ? Worker::kAnswer : Worker::kQuery;
  if (strict && IsWithinStep(other, At(other).place)) return nullptr;
  // Both may have sent the same query. Whose failure it is shows when one of them goes on; until
  // then it is told of the answer thread, which has the query for a response to what the other one
  // sent.
  const bool is_of_either = fields.line == Line::kForwardFailed &&
                            CanPrint(Worker::kQuery, fields, true) &&
                            CanPrint(Worker::kAnswer, fields, true);
  if (is_of_either && At(Worker::kQuery).place == At(Worker::kAnswer).place) {
    return &kWorkers[static_cast<std::size_t>(Worker::kAnswer)];
  }
  Standing& at = standings_[static_cast<std::size_t>(*printer)];
  at.place = fields.line == Line::kMethodType ? BehindMethod(fields) : move.to;
  if (move.id != IdRule::kNone) at.id = fields.id;
  return printer;
}

bool WorkerSteps::MayFileAlone() const {
  return (At(Worker::kQuery).place & (kUnknown | kDecoded)) != 0;
}

// In traces of version 1.0 the lines up to 464 may be there one by one.
bool WorkerSteps::MayTakeNext() const {
  constexpr std::uint32_t kInFrontOfFiling = kReadable | kReceived | kCounted | kDecoded;
  return (At(Worker::kQuery).place & (kBetweenSteps | kInFrontOfFiling)) != 0;
}

void WorkerSteps::TakeNext() {
  Standing& at = standings_[static_cast<std::size_t>(Worker::kQuery)];
  if ((at.place & kBetweenSteps) != 0) at.place = kWaits;
}

bool WorkerSteps::HasDecoded() const { return At(Worker::kQuery).place == kDecoded; }

bool WorkerSteps::RelayMayHaveEnded() const {
  return (At(Worker::kAnswer).place & (kUnknown | kEnded)) != 0;
}

}  // namespace ctl
