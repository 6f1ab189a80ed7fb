#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace upstream {

/// What is told of one of the servers. Counts are since the program began to use it.
struct ServerState {
  std::string listens;  ///< the address that stands for it, of kListenAddresses
  std::string address;  ///< the server's own; empty when this place has none
  bool silent = false;
  std::int64_t since = 0;  ///< alive or silent since then, in seconds since 1970
  std::uint64_t queries = 0;
  std::uint64_t answered = 0;
  std::uint64_t unanswered = 0;   ///< answered with SERVFAIL by the program itself
  std::uint64_t retries = 0;      ///< queries sent once more because nothing had come
  std::uint64_t truncations = 0;  ///< responses that had to be asked for once more over TCP
  /// Of the last answers; 0 when there are none.
  std::uint64_t median_microseconds = 0;
  std::uint64_t slow_microseconds = 0;  ///< 95 of 100 took no longer
};

struct State {
  std::int64_t process = 0;  ///< the id of the program that tells it
  std::vector<ServerState> servers;
};

/// A line for the process, then one for each server: words and numbers, blanks between them.
std::string StateText(const State& state);

/// Nothing when the text is not whole or in another form.
std::optional<State> ReadState(std::string_view text);

}  // namespace upstream
