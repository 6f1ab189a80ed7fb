#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "common/trace/query.h"

namespace ctl {

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

  // A query. `query` is null only for one from before the first line that was read.
  kAccepted,
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
