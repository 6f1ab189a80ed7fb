#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace page {

/// How a query ended. The numbers are kept in the database.
enum class Outcome : std::uint8_t {
  kHostMap = 0,     ///< answered from the host map
  kAnswered = 1,    ///< a server's response was relayed
  kNoSuchName = 2,  ///< the proxy said so itself
  kLost = 3,        ///< nothing was ever sent back
};
inline constexpr std::size_t kOutcomes = 4;

/// As in JSON, CSV and addresses: "host_map", "answered", "no_such_name", "lost".
const char* KeyOf(Outcome outcome);
std::optional<Outcome> OutcomeOf(std::string_view key);

/// Of the names that applications ask for, as the proxy does for its host map.
std::string LowerCase(std::string name);

/// What a server did with a query. The numbers are kept in the database.
enum class Reaction : std::uint8_t {
  kAnswered = 0,
  kEmpty = 1,    ///< a response without answer records
  kSilent = 2,   ///< no response
  kNotSent = 3,  ///< the system refused to send to it
};
const char* KeyOf(Reaction reaction);

/// One server that was asked.
struct Attempt {
  std::string server;  ///< its address as text
  Reaction reaction = Reaction::kSilent;
  /// From the query to the response, in microseconds; nothing when it wasn't seen as it happened.
  std::optional<std::int64_t> microseconds;
};

/// Where the trace is read: which file, and how many bytes of it.
struct TracePlace {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// When the file was made, in nanoseconds since 1970: its number may have belonged to another
  /// file before. 0 where the system does not say.
  std::int64_t birth = 0;
  std::uint64_t offset = 0;
};

/// One query from its arrival to its end. The name is in the form that may be shown anywhere
/// (ctl::Shown): printable ASCII, other bytes as a backslash and three digits.
struct Query {
  std::int64_t id = 0;     ///< counts queries in the order of their ends, from 1
  std::int64_t asked = 0;  ///< milliseconds since 1970
  std::int64_t ended = 0;  ///< the same
  std::string name;
  Outcome outcome = Outcome::kLost;
  std::vector<Attempt> attempts;  ///< in their order
  /// From the arrival to the answer; nothing when there was none, or it wasn't seen as it happened.
  std::optional<std::int64_t> microseconds;
  /// Where its first line is.
  TracePlace place;

  /// The server that answered, or at which it was lost; empty when none was asked.
  const std::string& Server() const;
};

}  // namespace page
