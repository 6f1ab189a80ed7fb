#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
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

}  // namespace ctl
