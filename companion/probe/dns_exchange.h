#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// A query with one question and a random id.
struct ProbeQuery {
  /// A question that may be put to any server, the proxy included, and that a resolver answers by
  /// itself: the reverse name of 127.0.0.1 (RFC 6303).
  ProbeQuery();
  /// The address of `name`, dotted text of labels of up to 127 characters.
  explicit ProbeQuery(std::string_view name);
  std::string bytes;
};

/// Whether `response` is an answer to `query`: its id, marked as a response, and its question
/// unless it has none at all.
bool IsAnswerTo(const ProbeQuery& query, std::string_view response);

/// Whether the answer is, byte for byte, what the proxy says when it has no method left: flags
/// 80 03, no records, and the question. No resolver leaves out "recursion available".
bool IsProxysNoSuchName(const ProbeQuery& query, std::string_view answer);

/// What an answer says, in two or three words: "no such name", "refused", "1 record".
std::string InWords(std::string_view answer);

/// How one exchange stands.
enum class ExchangeState { kWaiting, kAnswered, kNobodyThere, kFailed };

/// One query to one address over a UDP socket of its own.
class Exchange {
 public:
  /// Sends the query at once. `to` has its port.
  explicit Exchange(const sockaddr_in& to, ProbeQuery query = {});
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange();

  ExchangeState state() const { return state_; }
  /// The descriptor to poll for reading while waiting.
  int descriptor() const { return socket_; }
  /// Takes one datagram, or an error that the system reports, from the socket. A datagram that does
  /// not answer the query is ignored.
  void Receive();

  const ProbeQuery& query() const { return query_; }
  const std::string& answer() const { return answer_; }
  double milliseconds() const { return milliseconds_; }
  /// Why it failed, in the system's words.
  const std::string& reason() const { return reason_; }
  /// Whether it failed because this host has no way to the address.
  bool IsWithoutRoute() const { return is_without_route_; }

 private:
  void Fail(int error);

  ProbeQuery query_;
  int socket_;
  ExchangeState state_ = ExchangeState::kWaiting;
  std::int64_t sent_at_ = 0;
  std::string answer_;
  double milliseconds_ = 0;
  std::string reason_;
  bool is_without_route_ = false;
};

using Exchanges = std::vector<std::unique_ptr<Exchange>>;

/// Waits until none of the exchanges is waiting any more, or `timeout_ms` have passed. There may be
/// as many exchanges as the process may have descriptors.
void WaitForAnswers(const Exchanges& exchanges, int timeout_ms);

}  // namespace ctl
