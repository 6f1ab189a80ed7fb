#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// Why a datagram, or the answer to it, was lost.
enum class DropReason : std::uint8_t {
  kQueryTooShort,
  kQuestionCount,
  kNameEmpty,
  kIdStillWaiting,  ///< all 65536 ids were used, and the earlier query of this id is unanswered
  kNotSentToServer,
  kNotSentToApplication,
  kResponseTooShort,
  kUnknownResponse,
  kWrongSource,
  kLostAtEnd,  ///< was waiting when its run of the proxy came to an end
};
inline constexpr std::size_t kDropReasons = 10;

/// In words, as they are shown: "query shorter than a header".
const char* InWords(DropReason reason);

enum class Outcome : std::uint8_t {
  kWaiting,
  kFromHostMap,
  kAnswered,    ///< by the last of `tries`
  kNoSuchName,  ///< the proxy's own answer, after every server tried had none
  kLost,        ///< `loss` says why; the application got nothing
};

/// One time that a query was sent to a server.
struct Try {
  std::uint16_t server = 0;    ///< index into the reader's servers
  std::int64_t asked = 0;      ///< arrival of the line that says so
  std::int64_t responded = 0;  ///< arrival of its response's line, 0 for none yet
};

/// One query that the proxy has accepted. Times are those that the reader was given together with
/// the bytes. The name may hold any byte but NUL, so it must be escaped before it is shown.
struct Query {
  static constexpr std::size_t kMostTries = 256;  ///< further ones are not kept

  std::uint64_t number = 0;  ///< counts accepted queries, over all runs; never given twice
  std::uint16_t id = 0;      ///< the proxy's; given again after 65536 queries
  std::string name;
  Outcome outcome = Outcome::kWaiting;
  DropReason loss = DropReason::kLostAtEnd;  ///< meant for kLost: kIdStillWaiting,
                                             ///< kNotSentToServer or kLostAtEnd
  std::int64_t begun = 0;
  std::int64_t ended = 0;      ///< 0 while it waits
  std::int64_t position = -1;  ///< in the method list, -1 as long as it is not known
  std::vector<Try> tries;
};

/// What a line of the trace tells, or what follows from it. Lines that only precede another one
/// make no event.
enum class TraceEventKind : std::uint8_t {
  // A run of the proxy.
  kRunBegun,  ///< numbers: servers, host map entries
  kNotStarted,
  kServiceEnded,
  kServing,  ///< both workers have been created
  kBindFailed,

  // The intake. Each of these ends it, except a name that is cut short.
  kQueryTooShort,         ///< numbers: length of the datagram; address: its sender
  kQuestionCountRefused,  ///< numbers: length, count of questions; address
  kDomainEmpty,           ///< numbers: length; address
  kQueryReceiveFailed,
  kQueryWaitFailed,
  kNameCutShort,

  // A query. Its number is 0 where it is from before the first line that was read, and where a line
  // that names nobody is about a query that is still to be accepted.
  kAccepted,        ///< by its own line, or by one about a response that was forged before it
  kAsked,           ///< sent to `server`
  kForwardFailed,   ///< the sending to `server` has not happened. Numbers: the system's error, and
                    ///< 1 when the query has ended with it, 0 when it had ended before
  kFoundInHostMap,  ///< numbers: the four bytes of the address
  kExhausted,       ///< answered "no such name"
  kRelayed,         ///< address: the server, which is `server`
  kWithoutAnswer,   ///< the same; another try or kExhausted follows
  kWrongSource,     ///< address, expected
  kAnswerNotSent,   ///< its answer, from wherever; it counts as answered all the same
  kLost,            ///< `query->loss` is kIdStillWaiting or kLostAtEnd
  kNotLost,  ///< called lost for kIdStillWaiting before, and a later line shows it waiting; rare

  // The relay.
  kUnknownResponse,   ///< address
  kResponseTooShort,  ///< numbers: length; address. It ends the relay, as the next three do
  kResponseReceiveFailed,
  kResponseWaitFailed,
  kRelayEnded,
};

/// One event. `address`, `expected` and `query` are valid until the consumer returns.
struct TraceEvent {
  static constexpr std::uint16_t kNoServer = 0xFFFF;

  TraceEventKind kind = TraceEventKind::kRunBegun;
  std::int64_t arrival = 0;  ///< of the bytes in which the line ended, as handed to the reader
  std::uint64_t line = 0;    ///< the line's number in all that was read, from 1, as editors count
  std::string_view address;
  std::string_view expected;
  std::uint16_t server = kNoServer;  ///< index into TraceReader::servers()
  std::array<std::int64_t, 4> numbers{};
  const Query* query = nullptr;
};

/// Receives the events of a trace.
class TraceConsumer {
 public:
  TraceConsumer() = default;
  TraceConsumer(const TraceConsumer&) = delete;
  TraceConsumer& operator=(const TraceConsumer&) = delete;
  virtual ~TraceConsumer() = default;

  virtual void Take(const TraceEvent& event) = 0;
};

}  // namespace ctl
