#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/trace/event.h"
#include "common/trace/name_counts.h"

namespace ctl {

/// Why a datagram, or what should have come of it, was lost.
enum class DropReason : std::uint8_t {
  kQueryTooShort,
  kQuestionCount,
  kNameEmpty,
  kIdStillWaiting,  ///< all 65536 ids went round, and the earlier query of this id is unanswered
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

/// The end of a worker: what ended it, and the number of the line that says so.
struct WorkerEnd {
  bool has_ended = false;
  std::uint64_t line = 0;
  std::string cause;
};

struct ServerCounts {
  std::string address;
  std::uint64_t asked = 0;
  std::uint64_t answers = 0;
  std::uint64_t empty = 0;
  std::uint64_t waiting = 0;
};

/// A query that has been sent to a server and not come back.
struct WaitingQuery {
  std::string name;
  std::string server;
};

/// How far the last run of the proxy in the trace has come.
enum class RunState : std::uint8_t { kNoStartSeen, kStarting, kServing, kNotStarted, kEnded };

/// What a trace tells when its lines are taken one after the other: the counts, and where every
/// query and both workers stand.
class Tally {
 public:
  Tally();

  /// Takes the next line. It counts as not understood when the proxy prints no such line.
  void TakeLine(std::string_view line);
  /// Takes what is left at the end without a line end: nothing can be said about it.
  void TakeUnfinished() { has_unfinished_line_ = true; }

  std::uint64_t lines() const { return lines_; }
  std::uint64_t not_understood() const { return not_understood_; }
  std::uint64_t first_not_understood() const { return first_not_understood_; }
  bool has_unfinished_line() const { return has_unfinished_line_; }
  std::uint64_t starts() const { return starts_; }
  RunState run_state() const { return run_state_; }
  std::uint64_t queries() const { return queries_; }
  std::uint64_t from_host_map() const { return from_host_map_; }
  std::uint64_t answered() const { return answered_; }
  std::uint64_t no_such_name() const { return no_such_name_; }
  std::uint64_t names_cut_short() const { return names_cut_short_; }
  std::uint64_t dropped(DropReason reason) const { return drops_[Index(reason)]; }
  std::uint64_t waiting() const;
  const WorkerEnd& intake() const { return intake_; }
  const WorkerEnd& relay() const { return relay_; }
  const NameCounts& names() const { return names_; }

  /// By address, in the order of their first mention, with the queries that wait for each.
  std::vector<ServerCounts> Servers() const;
  /// Some of the waiting queries, at most `most`.
  std::vector<WaitingQuery> Waiting(std::size_t most) const;

  /// The name of the query that the fallback is at work on, or of the one with this id.
  const std::string& CurrentName() const { return in_flight_[current_id_].name; }
  const std::string& NameOf(std::uint16_t id) const { return in_flight_[id].name; }
  /// The server at which that query stands; empty when it is not known.
  std::string CurrentServer() const;

 private:
  struct InFlight {
    bool is_filed = false;
    std::int32_t server = -1;  // index into `servers_`
    std::string name;
  };
  static constexpr std::size_t kIds = 65536;

  static std::size_t Index(DropReason reason) { return static_cast<std::size_t>(reason); }
  void Drop(DropReason reason) { ++drops_[Index(reason)]; }

  void Take(const Event& event);
  void TakeOfStart(const Event& event);
  void TakeOfIntake(const Event& event);
  void TakeOfFallback(const Event& event);
  void TakeOfRelay(const Event& event);
  void BeginRun();
  void EndRun(RunState state);
  void ForgetWaiting();
  void FileRequest(const Event& event);
  void SendToServer();
  void FailToSend(std::uint16_t id);
  void Settle(std::uint16_t id);
  void EndWorker(WorkerEnd& worker, std::string cause);
  std::string LastDatagram(const char* rest) const;
  std::int32_t ServerAt(std::string_view address);

  std::uint64_t lines_ = 0;
  std::uint64_t not_understood_ = 0;
  std::uint64_t first_not_understood_ = 0;
  bool has_unfinished_line_ = false;
  std::uint64_t starts_ = 0;
  RunState run_state_ = RunState::kNoStartSeen;
  std::uint64_t queries_ = 0;
  std::uint64_t from_host_map_ = 0;
  std::uint64_t answered_ = 0;
  std::uint64_t no_such_name_ = 0;
  std::uint64_t names_cut_short_ = 0;
  std::array<std::uint64_t, kDropReasons> drops_{};
  WorkerEnd intake_;
  WorkerEnd relay_;
  NameCounts names_;

  std::vector<InFlight> in_flight_;
  std::uint16_t current_id_ = 0;
  std::int64_t current_position_ = 0;
  std::vector<ServerCounts> servers_;
  std::unordered_map<std::string, std::int32_t> server_indices_;
  std::vector<std::int32_t> methods_;  // of the run: index into `servers_`, -1 for the host map
  std::int64_t datagram_length_ = 0;
  std::string datagram_sender_;
};

}  // namespace ctl
