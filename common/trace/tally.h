#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/trace/trace_reader.h"

namespace ctl {

/// How often each name was asked for, in bounded memory: when there are too many names, those that
/// were asked for least are forgotten.
class NameCounts {
 public:
  static constexpr std::size_t kMostNames = 200000;
  static constexpr std::size_t kMostBytes = 16 << 20;  // of names

  void Add(std::string_view name);

  struct Count {
    std::string name;
    std::uint64_t queries;
  };
  /// The names with the highest counts, highest first, at most `most` of them.
  std::vector<Count> Busiest(std::size_t most) const;

  /// Whether names were forgotten, so that counts are lower bounds.
  bool HasForgotten() const { return has_forgotten_; }

 private:
  void Forget();

  std::unordered_map<std::string, std::uint64_t> counts_;
  std::string key_;  // kept for its storage
  std::size_t bytes_ = 0;
  bool has_forgotten_ = false;
};

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

/// How far the last run of the proxy in the trace has come.
enum class RunState : std::uint8_t {
  kNoStartSeen,
  kStarting,
  kServing,
  kNotTakingQueries,  ///< the intake has ended; what waits may still be answered
  kNotStarted,
  kEnded,
};

/// The counts of a trace, and the state of the proxy and its two workers.
class Tally : public TraceConsumer {
 public:
  /// Hears from `reader`, which outlives it.
  explicit Tally(TraceReader& reader) : reader_(reader) { reader.AddConsumer(*this); }

  void Take(const TraceEvent& event) override;

  const TraceReader& reader() const { return reader_; }
  std::uint64_t starts() const { return starts_; }
  RunState run_state() const;
  std::uint64_t accepted() const { return accepted_; }
  /// Ended queries that were accepted before the first line.
  std::uint64_t from_before() const { return from_before_; }
  std::uint64_t from_host_map() const { return from_host_map_; }
  std::uint64_t answered() const { return answered_; }
  std::uint64_t no_such_name() const { return no_such_name_; }
  std::uint64_t names_cut_short() const { return names_cut_short_; }
  std::uint64_t dropped(DropReason reason) const { return drops_[Index(reason)]; }
  const WorkerEnd& intake() const { return intake_; }
  const WorkerEnd& relay() const { return relay_; }
  const NameCounts& names() const { return names_; }

  /// In the reader's order, with the queries that wait for each.
  std::vector<ServerCounts> Servers() const;

 private:
  static std::size_t Index(DropReason reason) { return static_cast<std::size_t>(reason); }

  void TakeOfRun(const TraceEvent& event);
  void TakeOfIntake(const TraceEvent& event);
  void TakeOfRelay(const TraceEvent& event);
  void TakeOfQuery(const TraceEvent& event);
  void EndQuery(const TraceEvent& event, std::uint64_t& outcome);
  void Drop(DropReason reason) { ++drops_[Index(reason)]; }
  ServerCounts& CountsOf(std::uint16_t server);

  const TraceReader& reader_;
  std::uint64_t starts_ = 0;
  RunState run_state_ = RunState::kNoStartSeen;
  std::uint64_t accepted_ = 0;
  std::uint64_t from_before_ = 0;
  std::uint64_t from_host_map_ = 0;
  std::uint64_t answered_ = 0;
  std::uint64_t no_such_name_ = 0;
  std::uint64_t names_cut_short_ = 0;
  std::array<std::uint64_t, kDropReasons> drops_{};
  WorkerEnd intake_;
  WorkerEnd relay_;
  NameCounts names_;
  std::vector<ServerCounts> servers_;  // without addresses and waiting queries
};

}  // namespace ctl
